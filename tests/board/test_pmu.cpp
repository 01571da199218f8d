// The PMU client against a driver stand-in: each operation's three result
// columns (no device, request fails, success), a device that shows up late,
// and the descriptor kept to the end of the process, so the tests run in
// this order on one testbed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
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

using testsupport::IoctlAnswer;
using testsupport::IoctlCall;

namespace {

using Lines = std::vector<std::string>;
Lines logged(const std::function<void()> &fn) { return testsupport::summarise(testsupport::capture_stdout(fn)); }

const std::string kNode = "/dev/ip_6303";

struct Op {
    std::string name;
    int32_t (*call)();
    unsigned long request;
    int32_t word_in;      // what the driver must be given
    int32_t no_device;    // result without the device
    int32_t driver_word;  // handed back by a successful request
    int32_t result;       // result of the successful request
    std::string line;     // its log line, if any
};

#define OP(fn, args) #fn, [] { return fn args; }
const Op kOps[] = {
    {OP(Zev_Pmu_IsDcIn, ()), 0x80044D89, 0, 1, 5, 5, ""},
    {OP(Zev_Pmu_IsAccOn, ()), 0x80044D88, 0, 1, 1, 1, ""},
    {OP(Zev_Pmu_GetBootRes, ()), 0x80044D90, 0, 0, 0x81, 0x81, "INF Zev_Pmu_GetBootRes ::0x81\n"},
    {OP(Zev_Pmu_GetBootRes, ()), 0x80044D90, 0, 0, -1, -1, "INF Zev_Pmu_GetBootRes ::0xffffffff\n"},
    {OP(Zev_Pmu_GetType, ()), 0x80044D82, 0, 0, 2, 1, ""},
    {OP(Zev_Pmu_GetType, ()), 0x80044D82, 0, 0, 0, 0, ""},
    {OP(Zev_Pmu_GetType, ()), 0x80044D82, 0, 0, -3, 1, ""},
    {OP(Zev_Pmu_SetCap, ()), 0x40044D87, 240, 0, 200, 200, "WAR Zev_Pmu_SetCap ::200 mA\n"},
    {OP(Zev_Pmu_GetVoltage, (1)), 0x40044D85, 0, 0, 12345, 12345, "WAR Zev_Pmu_GetVoltage :12345 mv\n"},
    {OP(Zev_Pmu_GetVoltage, (-9)), 0x40044D85, 0, 0, 11800, 11800, "WAR Zev_Pmu_GetVoltage :11800 mv\n"},
    {OP(Zev_Pmu_GetVoltage, (0)), 0x40044D85, 0, 0, 12345, 12345, "VER Zev_Pmu_GetVoltage :12345 mv\n"},
    {OP(Zev_Pmu_SetChargeCurrent, (900)), 0x40044D84, 900, 0, 800, 800, "VER Zev_Pmu_SetChargeCurrent :800 mA\n"},
    {OP(Zev_Pmu_SetChargeCurrent, (INT32_MIN)), 0x40044D84, INT32_MIN, 0, 7, 7,
     "VER Zev_Pmu_SetChargeCurrent :7 mA\n"},
    {OP(Zev_Pmu_GetChargeCurrent, ()), 0x40044D86, 0, 0, 450, 450, "VER Zev_Pmu_GetChargeCurrent :450 mA\n"},
    {OP(Zev_Pmu_GetNtcTemperature, ()), 0x80044D83, 0, 0, -12, -12, "VER Zev_Pmu_GetNtcTemperature :-12 du\n"},
    {OP(Zev_Pmu_PowerOff, (-7)), 0x40044D91, -7, 0, 77, 77, ""},
    {OP(Zev_Pmu_SetPowerOffTimeOut, (30)), 0x40044D92, 30, 0, 55, 0, ""},
    {OP(Zev_Pmu_SetPowerOffTimeOut, (-1)), 0x40044D92, -1, 0, 0, 0, ""},
    {OP(Zev_Pmu_IsPowerKeyPressed, ()), 0x80044D94, 0, 0, 2, 2, "VER Zev_Pmu_IsPowerKeyPressed :pwrkey:DOWN\n"},
    {OP(Zev_Pmu_IsPowerKeyPressed, ()), 0x80044D94, 0, 0, 0, 0, "VER Zev_Pmu_IsPowerKeyPressed :pwrkey:UP\n"},
    {OP(Zev_Pmu_GetSDInsterStat, ()), 0x80044D95, 0, 0, 1, 1, "VER Zev_Pmu_GetSDInsterStat :SD_In:1\n"},
};

class Pmu : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!testsupport::Testbed::available()) return;
        bed_ = new testsupport::Testbed;
        bed_->write("/proc/cmdline", "console=ttyS0,115200 root=/dev/mtdblock3\n");
        logged([] { Zev_Comm_IsTempTestMode(); });  // its once-per-process line
    }
    static void TearDownTestSuite() {
        driver_.reset();
        delete bed_;
    }
    void SetUp() override {
        REQUIRE_TESTBED();
        Zev_Comm_SetPrintLev(7);
    }
    static testsupport::IoctlDevice &driver() {
        if (!driver_) driver_ = std::make_unique<testsupport::IoctlDevice>(bed_->get(), kNode);
        return *driver_;
    }
    static inline testsupport::Testbed *bed_ = nullptr;
    static inline std::unique_ptr<testsupport::IoctlDevice> driver_;
};

TEST_F(Pmu, WithoutTheDeviceEveryOperationFallsBack) {
    for (const Op &op : kOps) {
        int32_t r = -99;
        EXPECT_EQ(logged([&] { r = op.call(); }),
                  (Lines{"ERR ZevPmuInit :/dev/ip_6303 not exist\n", "ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                         "ERR " + op.name + " :pmu not initialized, please initialized first\n"}))
            << op.name;
        EXPECT_EQ(r, op.no_device) << op.name;
    }
    // A node that is there but cannot be opened (a folder) skips the first line.
    ASSERT_TRUE(bed_->mkdir(kNode));
    int32_t r = -99;
    EXPECT_EQ(logged([&] { r = Zev_Pmu_IsAccOn(); }),
              (Lines{"ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                     "ERR Zev_Pmu_IsAccOn :pmu not initialized, please initialized first\n"}));
    EXPECT_EQ(r, 1);
    EXPECT_TRUE(bed_->remove(kNode));
}

TEST_F(Pmu, ALateDeviceIsOpenedByTheNextCallAndKept) {
    ASSERT_TRUE(driver().attached());
    driver().answer([](unsigned long, int32_t) { return IoctlAnswer{0, 0, 1}; });
    // With descriptor 0 free the device gets it, and 0 must count as open
    // (no capture here: it would take descriptor 0).
    close(STDIN_FILENO);
    EXPECT_EQ(Zev_Pmu_IsDcIn(), 1);
    char target[256] = {};
    ASSERT_GT(readlink("/proc/self/fd/0", target, sizeof target - 1), 0);
    EXPECT_NE(std::string(target).find("ip_6303"), std::string::npos) << target;
    EXPECT_EQ(logged([] { EXPECT_EQ(Zev_Pmu_IsAccOn(), 1); }), Lines{});
    // Kept open: further calls open nothing new.
    const int probe_before = dup(0);
    close(probe_before);
    for (int i = 0; i < 50; ++i)
        for (const Op &op : kOps) logged([&] { op.call(); });
    const int probe_after = dup(0);
    close(probe_after);
    EXPECT_EQ(probe_after, probe_before);
    EXPECT_EQ(driver().calls().size(), 2u + 50u * std::size(kOps));
}

TEST_F(Pmu, AFailedRequestThenASucceedingOneOnTheSameDescriptor) {
    testsupport::IoctlDevice &dev = driver();
    for (const Op &op : kOps) {
        dev.clear_calls();
        dev.answer([](unsigned long, int32_t) { return IoctlAnswer{-1, EIO, 1}; });
        int32_t r = -99;
        EXPECT_EQ(logged([&] { r = op.call(); }), Lines{"ERR " + op.name + " :failed\n"}) << op.name;
        EXPECT_EQ(r, 0) << op.name;  // DC in and ACC too: the opposite of no device
        const int32_t word = op.driver_word;
        dev.answer([word](unsigned long, int32_t) { return IoctlAnswer{0, 0, word}; });
        EXPECT_EQ(logged([&] { r = op.call(); }), op.line.empty() ? Lines{} : Lines{op.line}) << op.name;
        EXPECT_EQ(r, op.result) << op.name;
        EXPECT_EQ(dev.calls(), (std::vector<IoctlCall>{{op.request, op.word_in}, {op.request, op.word_in}})) << op.name;
    }
}

}  // namespace
