// Board switches with the temperature test mode off: the kernel command
// line test, the CPU temperature attribute, touch, USB and console.
// The command line is read once per process for the test mode, and the
// first test's WAR line is printed once: the tests run in this order.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_board.h"
#include "comm_log.h"
#include "ioctl_device.hpp"
#include "log_lines.hpp"
#include "testbed.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

const std::string kCmdLine = "console=ttyS0,115200 rootfs=squashfs mtdparts=nor:ft=TEMq\n";
const std::string kTemp = "/sys/devices/virtual/mstar/msys/TEMP_R";
const std::string kTouch = "/sys/class/i2c-dev/i2c-4/device/4-005d/drv_irq";
const std::string kGpio = "/sys/class/gpio";

// One testbed for the whole program, removed after the last test.
testsupport::Testbed *g_bed = nullptr;

testsupport::Testbed &bed() {
    if (g_bed == nullptr) g_bed = new testsupport::Testbed;
    return *g_bed;
}

struct BedCleanup : ::testing::Environment {
    void TearDown() override {
        delete g_bed;
        g_bed = nullptr;
    }
};
[[maybe_unused]] const auto *const kCleanup = ::testing::AddGlobalTestEnvironment(new BedCleanup);

class Switches : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        ASSERT_TRUE(bed().write("/proc/cmdline", kCmdLine));
        Zev_Comm_SetPrintLev(7);
        s_iCpuTempTest = 0;
    }
};

TEST_F(Switches, FirstCommandLineTestLogsTheLineOnce) {
    int32_t r = -1;
    auto lines = summarise(capture_stdout([&] { r = Zev_Comm_CheckCmdLime("rootfs="); }));
    EXPECT_EQ(r, 1);
    EXPECT_EQ(lines, (std::vector<std::string>{"WAR Zev_Comm_CheckCmdLime :cmdline[rootfs=]: " + kCmdLine,
                                               "VER Zev_Comm_CheckCmdLime :get cmdline: rootfs=squashfs mtdparts=nor:ft=TEMq\n"}));
    // Whoever asks next, the WAR line is gone.
    lines = summarise(capture_stdout([&] { r = Zev_Comm_IsTempTestMode(); }));
    EXPECT_EQ(r, 0);
    EXPECT_TRUE(lines.empty()) << lines[0];
}

TEST_F(Switches, CommandLineIsAPlainSubstringTest) {
    const struct {
        const char *needle;
        int32_t result;
    } cases[] = {
        {"ttyS0,1152", 1}, {"ft=TEMP", 0}, {"", 1}, {"\n", 1}, {"CONSOLE", 0},
    };
    for (const auto &c : cases) {
        int32_t r = -1;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_CheckCmdLime(c.needle); }));
        EXPECT_EQ(r, c.result) << c.needle;
        EXPECT_EQ(lines.size(), c.result == 1 ? 1u : 0u) << c.needle;
    }
}

TEST_F(Switches, UnreadableCommandLineFindsOnlyTheEmptyText) {
    // A folder in its place: it opens but gives no byte (and the machine's
    // own command line is never looked at).
    ASSERT_TRUE(bed().remove("/proc/cmdline"));
    ASSERT_TRUE(bed().mkdir("/proc/cmdline"));
    const struct {
        const char *needle;
        int32_t result;
    } cases[] = {{"", 1}, {"console", 0}, {"k", 0}, {" ", 0}};
    for (const auto &c : cases) {
        int32_t r = -1;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_CheckCmdLime(c.needle); }));
        EXPECT_EQ(r, c.result) << c.needle;
        EXPECT_EQ(lines.size(), static_cast<size_t>(c.result)) << c.needle;
    }
    ASSERT_TRUE(bed().remove("/proc/cmdline"));
}

TEST_F(Switches, TestModeAnswerIsKeptForTheProcess) {
    ASSERT_TRUE(bed().write("/proc/cmdline", "ft=TEMP\n"));
    capture_stdout([] { EXPECT_EQ(Zev_Comm_CheckCmdLime("ft=TEMP"), 1); });
    EXPECT_EQ(Zev_Comm_IsTempTestMode(), 0);  // decided by the first look
}

TEST_F(Switches, CpuTemperatureFromTheAttribute) {
    const std::string prefix = "Temperature ";  // 12 bytes ahead of the number
    const struct {
        std::string text;
        int32_t result;
    } cases[] = {
        {prefix + "45\n", 45},
        {prefix + "-3\n", -3},
        {prefix + "0\n", 0},
        {prefix, 0},                      // 12 bytes: the zeroed rest reads 0
        {"short\n", 0},
        {"", 0},
        {"CPU temp is 71 C\n", 71},
        {prefix + std::string(17, ' ') + "7" + "8", 7},  // only 30 bytes are read
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed().write(kTemp, c.text));
        EXPECT_EQ(Zev_Comm_GetCPUTemp(), c.result) << c.text;
    }
}

TEST_F(Switches, CpuTemperatureOverrideOutranksTheAttribute) {
    ASSERT_TRUE(bed().write(kTemp, "Temperature 45\n"));
    const struct {
        int32_t set;
        int32_t result;
    } cases[] = {{50, 50}, {-20, -20}, {1, 1}, {0, 45}};
    for (const auto &c : cases) {
        const auto lines = summarise(capture_stdout([&] { Zev_Comm_SetCpuTemp(c.set); }));
        EXPECT_EQ(lines, std::vector<std::string>{"INF Zev_Comm_SetCpuTemp :" + std::to_string(c.set) + " du\n"});
        EXPECT_EQ(s_iCpuTempTest, c.set);
        EXPECT_EQ(Zev_Comm_GetCPUTemp(), c.result) << c.set;
    }
    s_iCpuTempTest = 33;  // the exported word itself
    EXPECT_EQ(Zev_Comm_GetCPUTemp(), 33);
}

TEST_F(Switches, MissingTemperatureAttributeReadsZero) {
    ASSERT_TRUE(bed().remove(kTemp));
    int32_t r = -1;
    const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_GetCPUTemp(); }));
    EXPECT_EQ(r, 0);
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_ReadFile :[ZEV]ZevReadFile---" + kTemp +
                                              "---failed!uRet=1 (0 bytes)\r\n"});
}

TEST_F(Switches, TouchIgnoreWritesTheInterruptSwitch) {
    const struct {
        int32_t flag;
        std::string written;
    } cases[] = {{1, "0"}, {0, "1"}, {-1, "0"}, {256, "0"}};
    for (const auto &c : cases) {
        ASSERT_TRUE(bed().write(kTouch, ""));
        const auto lines = summarise(capture_stdout([&] { Zev_Comm_SetTouchIgnore(c.flag); }));
        EXPECT_EQ(bed().read(kTouch), c.written) << c.flag;
        const std::string f = std::to_string(c.flag);
        EXPECT_EQ(lines, (std::vector<std::string>{"DBG Zev_Comm_SetTouchIgnore :bIgnore=" + f + " in\n",
                                                   "DBG Zev_Comm_SetTouchIgnore :bIgnore=" + f + " out\n"}));
    }
    ASSERT_TRUE(bed().remove("/sys/class/i2c-dev"));
    const auto lines = summarise(capture_stdout([] { Zev_Comm_SetTouchIgnore(1); }));
    EXPECT_EQ(lines, std::vector<std::string>{"DBG Zev_Comm_SetTouchIgnore :bIgnore=1 in\n"});
    EXPECT_FALSE(bed().exists(kTouch));
}

TEST_F(Switches, UsbSwitchDrivesPin33Inverted) {
    const struct {
        int32_t flag;
        std::string value;
    } cases[] = {{0, std::string("1\0\0\0", 4)}, {1, std::string("0\0\0\0", 4)}, {7, std::string("0\0\0\0", 4)},
                 {-1, std::string("0\0\0\0", 4)}};
    for (const auto &c : cases) {
        ASSERT_TRUE(bed().write(kGpio + "/export", ""));
        ASSERT_TRUE(bed().write(kGpio + "/gpio33/direction", "in\n"));
        ASSERT_TRUE(bed().write(kGpio + "/gpio33/value", ""));
        int32_t r = -1;
        capture_stdout([&] { r = Zev_Comm_UsbSwitcher(c.flag); });
        EXPECT_EQ(r, 0) << c.flag;
        EXPECT_EQ(bed().read(kGpio + "/export"), std::string("33\0\0", 4)) << "exported on every call";
        EXPECT_EQ(bed().read(kGpio + "/gpio33/direction"), std::string("out\0", 4));
        EXPECT_EQ(bed().read(kGpio + "/gpio33/value"), c.value) << c.flag;
    }
    // Only the value's step reaches the caller.
    ASSERT_TRUE(bed().remove(kGpio + "/gpio33/value"));
    EXPECT_EQ(capture_stdout([] { EXPECT_EQ(Zev_Comm_UsbSwitcher(1), -1); }).empty(), false);
    ASSERT_TRUE(bed().remove(kGpio + "/export"));
    ASSERT_TRUE(bed().write(kGpio + "/gpio33/value", ""));
    int32_t r = -1;
    capture_stdout([&] { r = Zev_Comm_UsbSwitcher(0); });
    EXPECT_EQ(r, 0);
    EXPECT_EQ(bed().read(kGpio + "/gpio33/value"), std::string("1\0\0\0", 4));
}

TEST_F(Switches, ConsoleRedirectionOnAMockedTerminal) {
    constexpr unsigned long kTiocCons = 0x541D;
    auto tty = std::make_unique<testsupport::IoctlDevice>(bed().get(), "/dev/ttyS9",
                                                          std::vector<unsigned long>{kTiocCons});
    ASSERT_TRUE(tty->attached());
    const struct {
        const char *name;
        int result;
    } answers[] = {{"accepted", 0}, {"refused", -1}};
    for (const auto &a : answers) {
        const int result = a.result;
        tty->answer([result](unsigned long, int32_t) { return testsupport::IoctlAnswer{result, EPERM, 0}; });
        tty->clear_calls();
        // Standard output is captured into a file here: no terminal name.
        const auto lines = summarise(capture_stdout([] { Zev_Change_Console("/dev/ttyS9"); }));
        EXPECT_EQ(lines, (std::vector<std::string>{"WAR Zev_Change_Console : get ttyname error \n",
                                                   "DBG Zev_Change_Console :conlose change to /dev/ttyS9\n"}))
            << a.name;
        EXPECT_EQ(tty->calls(), (std::vector<testsupport::IoctlCall>{{kTiocCons, 0}})) << a.name;
    }
    const auto lines = summarise(capture_stdout([] { Zev_Change_Console("/dev/ttyNONE"); }));
    EXPECT_EQ(lines, std::vector<std::string>{"WAR Zev_Change_Console : get ttyname error \n"});
}

}  // namespace
