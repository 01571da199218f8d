// The PMU client against a driver stand-in: the three result columns of
// every operation, the log lines, and a device that shows up late.
// The library keeps its descriptor to the end of the process, so the tests
// without a device come first and share one testbed with the rest.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_board.h"
#include "comm_log.h"
#include "comm_pmu.h"
#include "ioctl_device.hpp"
#include "log_lines.hpp"
#include "testbed.hpp"

using testsupport::capture_stdout;
using testsupport::IoctlAnswer;
using testsupport::IoctlCall;
using testsupport::summarise;

namespace {

const std::string kNode = "/dev/ip_6303";

struct Op {
    const char *name;
    int32_t (*call)();
    unsigned long request;
    int32_t word_in;     // what the driver must see
    int32_t no_device;   // result without the device
};

const Op kOps[] = {
    {"Zev_Pmu_IsDcIn", [] { return Zev_Pmu_IsDcIn(); }, 0x80044D89, 0, 1},
    {"Zev_Pmu_IsAccOn", [] { return Zev_Pmu_IsAccOn(); }, 0x80044D88, 0, 1},
    {"Zev_Pmu_GetBootRes", [] { return Zev_Pmu_GetBootRes(); }, 0x80044D90, 0, 0},
    {"Zev_Pmu_GetType", [] { return Zev_Pmu_GetType(); }, 0x80044D82, 0, 0},
    {"Zev_Pmu_SetCap", [] { return Zev_Pmu_SetCap(); }, 0x40044D87, 240, 0},
    {"Zev_Pmu_GetVoltage", [] { return Zev_Pmu_GetVoltage(1); }, 0x40044D85, 0, 0},
    {"Zev_Pmu_SetChargeCurrent", [] { return Zev_Pmu_SetChargeCurrent(500); }, 0x40044D84, 500, 0},
    {"Zev_Pmu_GetChargeCurrent", [] { return Zev_Pmu_GetChargeCurrent(); }, 0x40044D86, 0, 0},
    {"Zev_Pmu_GetNtcTemperature", [] { return Zev_Pmu_GetNtcTemperature(); }, 0x80044D83, 0, 0},
    {"Zev_Pmu_PowerOff", [] { return Zev_Pmu_PowerOff(-7); }, 0x40044D91, -7, 0},
    {"Zev_Pmu_SetPowerOffTimeOut", [] { return Zev_Pmu_SetPowerOffTimeOut(30); }, 0x40044D92, 30, 0},
    {"Zev_Pmu_IsPowerKeyPressed", [] { return Zev_Pmu_IsPowerKeyPressed(); }, 0x80044D94, 0, 0},
    {"Zev_Pmu_GetSDInsterStat", [] { return Zev_Pmu_GetSDInsterStat(); }, 0x80044D95, 0, 0},
};

// One testbed for the whole program, and the driver once it is added.
struct Board {
    testsupport::Testbed bed;
    std::unique_ptr<testsupport::IoctlDevice> driver;
};

Board *g_board = nullptr;

Board &board() {
    if (g_board == nullptr) {
        g_board = new Board;
        g_board->bed.write("/proc/cmdline", "console=ttyS0,115200 root=/dev/mtdblock3\n");
        capture_stdout([] { Zev_Comm_IsTempTestMode(); });  // the once-per-process line
    }
    return *g_board;
}

// The testbed goes after the last test (the descriptor is never used again).
struct BoardCleanup : ::testing::Environment {
    void TearDown() override {
        delete g_board;
        g_board = nullptr;
    }
};
[[maybe_unused]] const auto *const kCleanup = ::testing::AddGlobalTestEnvironment(new BoardCleanup);

testsupport::IoctlDevice &driver() {
    Board &b = board();
    if (!b.driver) b.driver = std::make_unique<testsupport::IoctlDevice>(b.bed.get(), kNode);
    return *b.driver;
}

class PmuWithoutDevice : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        ASSERT_FALSE(board().driver) << "the device is already there";
        Zev_Comm_SetPrintLev(7);
    }
};

TEST_F(PmuWithoutDevice, EveryOperationFallsBackAfterThreeLines) {
    for (const Op &op : kOps) {
        int32_t r = -99;
        const auto lines = summarise(capture_stdout([&] { r = op.call(); }));
        EXPECT_EQ(r, op.no_device) << op.name;
        EXPECT_EQ(lines, (std::vector<std::string>{
                             "ERR ZevPmuInit :/dev/ip_6303 not exist\n",
                             "ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                             std::string("ERR ") + op.name + " :pmu not initialized, please initialized first\n",
                         }))
            << op.name;
    }
}

TEST_F(PmuWithoutDevice, NodeThatCannotBeOpenedSkipsTheFirstLine) {
    ASSERT_TRUE(board().bed.mkdir(kNode));  // exists, but O_RDWR on a folder fails
    int32_t r = -99;
    const auto lines = summarise(capture_stdout([&] { r = Zev_Pmu_IsAccOn(); }));
    EXPECT_TRUE(board().bed.remove(kNode));
    EXPECT_EQ(r, 1);
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                         "ERR Zev_Pmu_IsAccOn :pmu not initialized, please initialized first\n",
                     }));
}

TEST_F(PmuWithoutDevice, ResultsDoNotDependOnThePrintLevel) {
    Zev_Comm_SetPrintLev(0);
    for (const Op &op : kOps) {
        int32_t r = -99;
        const std::string out = capture_stdout([&] { r = op.call(); });
        EXPECT_EQ(r, op.no_device) << op.name;
        EXPECT_EQ(out, "") << op.name;
    }
}

class PmuDevice : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        dev_ = &driver();
        ASSERT_TRUE(dev_->attached());
        dev_->answer(nullptr);
        dev_->clear_calls();
        Zev_Comm_SetPrintLev(7);
    }
    testsupport::IoctlDevice *dev_ = nullptr;
};

TEST_F(PmuDevice, ALateDeviceIsOpenedByTheNextCallAndKept) {
    dev_->answer([](unsigned long, int32_t) { return IoctlAnswer{0, 0, 1}; });
    // With descriptor 0 free the device gets it, and 0 must count as open.
    // (Called without capturing: the capture would take descriptor 0; the
    // call logs nothing when it succeeds, which the next check shows too.)
    close(STDIN_FILENO);
    EXPECT_EQ(Zev_Pmu_IsDcIn(), 1);
    const auto lines = summarise(capture_stdout([] { EXPECT_EQ(Zev_Pmu_IsAccOn(), 1); }));
    EXPECT_TRUE(lines.empty()) << lines[0];
    char target[256] = {};
    ASSERT_GT(readlink("/proc/self/fd/0", target, sizeof target - 1), 0);
    EXPECT_NE(std::string(target).find("ip_6303"), std::string::npos) << target;
    // Kept open: further calls open nothing new.
    const int probe_before = dup(0);
    close(probe_before);
    for (int i = 0; i < 50; ++i) {
        for (const Op &op : kOps) capture_stdout([&] { op.call(); });
    }
    const int probe_after = dup(0);
    close(probe_after);
    EXPECT_EQ(probe_after, probe_before);
    EXPECT_EQ(dev_->calls().size(), 2u + 50u * std::size(kOps));
}

TEST_F(PmuDevice, EachOperationMakesItsRequestWithItsWord) {
    for (const Op &op : kOps) {
        dev_->clear_calls();
        capture_stdout([&] { op.call(); });
        EXPECT_EQ(dev_->calls(), (std::vector<IoctlCall>{{op.request, op.word_in}})) << op.name;
    }
    // The cap value is fixed, the other arguments go through unchanged.
    dev_->clear_calls();
    capture_stdout([] {
        Zev_Pmu_SetCap();
        Zev_Pmu_SetCap();
        Zev_Pmu_SetChargeCurrent(INT32_MIN);
        Zev_Pmu_PowerOff(0x12345678);
        Zev_Pmu_SetPowerOffTimeOut(-1);
    });
    EXPECT_EQ(dev_->calls(), (std::vector<IoctlCall>{{0x40044D87, 240},
                                                     {0x40044D87, 240},
                                                     {0x40044D84, INT32_MIN},
                                                     {0x40044D91, 0x12345678},
                                                     {0x40044D92, -1}}));
}

TEST_F(PmuDevice, SuccessGivesTheDriversWordAndItsLine) {
    const struct {
        const char *name;
        int32_t (*call)();
        int32_t driver_word;
        int32_t result;
        std::vector<std::string> lines;
    } cases[] = {
        {"dc in", [] { return Zev_Pmu_IsDcIn(); }, 0, 0, {}},
        {"dc in 5", [] { return Zev_Pmu_IsDcIn(); }, 5, 5, {}},
        {"acc", [] { return Zev_Pmu_IsAccOn(); }, 1, 1, {}},
        {"boot", [] { return Zev_Pmu_GetBootRes(); }, 0x81, 0x81, {"INF Zev_Pmu_GetBootRes ::0x81\n"}},
        {"boot neg", [] { return Zev_Pmu_GetBootRes(); }, -1, -1, {"INF Zev_Pmu_GetBootRes ::0xffffffff\n"}},
        {"type 2", [] { return Zev_Pmu_GetType(); }, 2, 1, {}},
        {"type 0", [] { return Zev_Pmu_GetType(); }, 0, 0, {}},
        {"type neg", [] { return Zev_Pmu_GetType(); }, -3, 1, {}},
        {"cap", [] { return Zev_Pmu_SetCap(); }, 200, 200, {"WAR Zev_Pmu_SetCap ::200 mA\n"}},
        {"volt shown", [] { return Zev_Pmu_GetVoltage(1); }, 12345, 12345, {"WAR Zev_Pmu_GetVoltage :12345 mv\n"}},
        {"volt any", [] { return Zev_Pmu_GetVoltage(-9); }, 11800, 11800, {"WAR Zev_Pmu_GetVoltage :11800 mv\n"}},
        {"volt quiet", [] { return Zev_Pmu_GetVoltage(0); }, 12345, 12345, {"VER Zev_Pmu_GetVoltage :12345 mv\n"}},
        {"set charge", [] { return Zev_Pmu_SetChargeCurrent(900); }, 800, 800, {"VER Zev_Pmu_SetChargeCurrent :800 mA\n"}},
        {"get charge", [] { return Zev_Pmu_GetChargeCurrent(); }, 450, 450, {"VER Zev_Pmu_GetChargeCurrent :450 mA\n"}},
        {"ntc", [] { return Zev_Pmu_GetNtcTemperature(); }, -12, -12, {"VER Zev_Pmu_GetNtcTemperature :-12 du\n"}},
        {"power off", [] { return Zev_Pmu_PowerOff(1); }, 77, 77, {}},
        {"timeout", [] { return Zev_Pmu_SetPowerOffTimeOut(10); }, 55, 0, {}},
        {"key down", [] { return Zev_Pmu_IsPowerKeyPressed(); }, 2, 2, {"VER Zev_Pmu_IsPowerKeyPressed :pwrkey:DOWN\n"}},
        {"key up", [] { return Zev_Pmu_IsPowerKeyPressed(); }, 0, 0, {"VER Zev_Pmu_IsPowerKeyPressed :pwrkey:UP\n"}},
        {"sd", [] { return Zev_Pmu_GetSDInsterStat(); }, 1, 1, {"VER Zev_Pmu_GetSDInsterStat :SD_In:1\n"}},
    };
    for (const auto &c : cases) {
        const int32_t word = c.driver_word;
        dev_->answer([word](unsigned long, int32_t) { return IoctlAnswer{0, 0, word}; });
        int32_t r = -99;
        const auto lines = summarise(capture_stdout([&] { r = c.call(); }));
        EXPECT_EQ(r, c.result) << c.name;
        EXPECT_EQ(lines, c.lines) << c.name;
    }
}

TEST_F(PmuDevice, AFailedRequestGivesZeroAndKeepsTheDescriptor) {
    for (const Op &op : kOps) {
        dev_->answer([](unsigned long, int32_t) { return IoctlAnswer{-1, EIO, 1}; });
        int32_t r = -99;
        const auto lines = summarise(capture_stdout([&] { r = op.call(); }));
        EXPECT_EQ(r, 0) << op.name;  // also DC in and ACC: the opposite of "no device"
        EXPECT_EQ(lines, std::vector<std::string>{std::string("ERR ") + op.name + " :failed\n"}) << op.name;
        // The next request goes through the same descriptor and succeeds.
        dev_->answer([](unsigned long, int32_t) { return IoctlAnswer{0, 0, 1}; });
        EXPECT_EQ(Zev_Pmu_IsDcIn(), 1) << op.name;
    }
}

}  // namespace
