// Board switches with the temperature test mode off: the kernel command
// line test (its line once per process, so that test comes first), the CPU
// temperature, touch, USB and console.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_board.h"
#include "comm_log.h"
#include "ioctl_device.hpp"
#include "log_lines.hpp"
#include "testbed.hpp"

namespace {

using Lines = std::vector<std::string>;
Lines logged(const std::function<void()> &fn) { return testsupport::summarise(testsupport::capture_stdout(fn)); }

const std::string kCmdLine = "console=ttyS0,115200 rootfs=squashfs mtdparts=nor:ft=TEMq\n";
const std::string kTemp = "/sys/devices/virtual/mstar/msys/TEMP_R";
const std::string kTouch = "/sys/class/i2c-dev/i2c-4/device/4-005d/drv_irq";
const std::string kGpio = "/sys/class/gpio/";

class Switches : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (testsupport::Testbed::available()) bed_ = new testsupport::Testbed;
    }
    static void TearDownTestSuite() { delete bed_; }
    void SetUp() override {
        REQUIRE_TESTBED();
        ASSERT_TRUE(bed_->write("/proc/cmdline", kCmdLine));
        Zev_Comm_SetPrintLev(7);
        s_iCpuTempTest = 0;
    }
    static inline testsupport::Testbed *bed_ = nullptr;
};

TEST_F(Switches, CommandLineIsAPlainSubstringTest) {
    int32_t r = -1;
    EXPECT_EQ(logged([&] { r = Zev_Comm_CheckCmdLime("rootfs="); }),
              (Lines{"WAR Zev_Comm_CheckCmdLime :cmdline[rootfs=]: " + kCmdLine,
                     "VER Zev_Comm_CheckCmdLime :get cmdline: rootfs=squashfs mtdparts=nor:ft=TEMq\n"}));
    EXPECT_EQ(r, 1);
    // Whoever asks next, the WAR line is gone.
    EXPECT_EQ(logged([&] { r = Zev_Comm_IsTempTestMode(); }), Lines{});
    EXPECT_EQ(r, 0);
    const struct {
        bool readable;  // else a folder in its place: opens, gives no byte
        const char *needle;
        int32_t result;  // and as many VER lines
    } cases[] = {
        {true, "ttyS0,1152", 1}, {true, "ft=TEMP", 0}, {true, "", 1}, {true, "\n", 1}, {true, "CONSOLE", 0},
        {false, "", 1}, {false, "console", 0}, {false, " ", 0},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->remove("/proc/cmdline"));
        ASSERT_TRUE(c.readable ? bed_->write("/proc/cmdline", kCmdLine) : bed_->mkdir("/proc/cmdline"));
        EXPECT_EQ(logged([&] { r = Zev_Comm_CheckCmdLime(c.needle); }).size(), static_cast<size_t>(c.result));
        EXPECT_EQ(r, c.result) << c.readable << c.needle;
    }
    ASSERT_TRUE(bed_->remove("/proc/cmdline"));
    ASSERT_TRUE(bed_->write("/proc/cmdline", "ft=TEMP\n"));
    logged([] { EXPECT_EQ(Zev_Comm_CheckCmdLime("ft=TEMP"), 1); });
    EXPECT_EQ(Zev_Comm_IsTempTestMode(), 0) << "decided by the first look";
}

TEST_F(Switches, CpuTemperatureFromTheOverrideOrTheAttribute) {
    const std::string p = "Temperature ";  // 12 bytes ahead of the number
    const struct {
        std::string text;
        int32_t set;  // the override, 0 for none
        int32_t result;
    } cases[] = {
        {p + "45\n", 0, 45}, {p + "-3\n", 0, -3}, {p, 0, 0}, {"short\n", 0, 0}, {"", 0, 0},
        {"CPU temp is 71 C\n", 0, 71}, {p + std::string(17, ' ') + "78", 0, 7},  // only 30 bytes are read
        {p + "45\n", 50, 50}, {p + "45\n", -20, -20}, {p + "45\n", 1, 1},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->write(kTemp, c.text));
        EXPECT_EQ(logged([&] { Zev_Comm_SetCpuTemp(c.set); }),
                  Lines{"INF Zev_Comm_SetCpuTemp :" + std::to_string(c.set) + " du\n"});
        EXPECT_EQ(s_iCpuTempTest, c.set);
        EXPECT_EQ(Zev_Comm_GetCPUTemp(), c.result) << c.text << c.set;
    }
    s_iCpuTempTest = 33;  // the exported word itself
    EXPECT_EQ(Zev_Comm_GetCPUTemp(), 33);
    s_iCpuTempTest = 0;
    ASSERT_TRUE(bed_->remove(kTemp));
    int32_t r = -1;
    EXPECT_EQ(logged([&] { r = Zev_Comm_GetCPUTemp(); }),
              Lines{"VER Zev_Comm_ReadFile :[ZEV]ZevReadFile---" + kTemp + "---failed!uRet=1 (0 bytes)\r\n"});
    EXPECT_EQ(r, 0);
}

TEST_F(Switches, TouchIgnoreWritesTheInterruptSwitch) {
    const struct {
        int32_t flag;
        std::string written;
    } cases[] = {{1, "0"}, {0, "1"}, {-1, "0"}, {256, "0"}};
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->write(kTouch, ""));
        const std::string f = std::to_string(c.flag);
        EXPECT_EQ(logged([&] { Zev_Comm_SetTouchIgnore(c.flag); }),
                  (Lines{"DBG Zev_Comm_SetTouchIgnore :bIgnore=" + f + " in\n",
                         "DBG Zev_Comm_SetTouchIgnore :bIgnore=" + f + " out\n"}));
        EXPECT_EQ(bed_->read(kTouch), c.written) << c.flag;
    }
    ASSERT_TRUE(bed_->remove("/sys/class/i2c-dev"));
    EXPECT_EQ(logged([] { Zev_Comm_SetTouchIgnore(1); }), Lines{"DBG Zev_Comm_SetTouchIgnore :bIgnore=1 in\n"});
    EXPECT_FALSE(bed_->exists(kTouch));
}

TEST_F(Switches, UsbSwitchDrivesPin33Inverted) {
    const struct {
        int32_t flag;
        bool value_there, export_there;
        int32_t result;
        std::string value;
    } cases[] = {
        {0, true, true, 0, std::string("1\0\0\0", 4)}, {1, true, true, 0, std::string("0\0\0\0", 4)},
        {7, true, true, 0, std::string("0\0\0\0", 4)}, {-1, true, true, 0, std::string("0\0\0\0", 4)},
        {0, true, false, 0, std::string("1\0\0\0", 4)},  // only the value's step reaches the caller
        {1, false, true, -1, ""},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->remove(kGpio + "export") && bed_->remove(kGpio + "gpio33/value"));
        ASSERT_TRUE(!c.export_there || bed_->write(kGpio + "export", ""));
        ASSERT_TRUE(!c.value_there || bed_->write(kGpio + "gpio33/value", ""));
        ASSERT_TRUE(bed_->write(kGpio + "gpio33/direction", "in\n"));
        int32_t r = 9;
        logged([&] { r = Zev_Comm_UsbSwitcher(c.flag); });
        EXPECT_EQ(r, c.result) << c.flag;
        EXPECT_EQ(bed_->read(kGpio + "gpio33/value"), c.value) << c.flag;
        EXPECT_EQ(bed_->read(kGpio + "gpio33/direction"), std::string("out\0", 4));
        EXPECT_EQ(bed_->read(kGpio + "export"), c.export_there ? std::string("33\0\0", 4) : "") << "on every call";
    }
}

TEST_F(Switches, ConsoleRedirectionOnAMockedTerminal) {
    constexpr unsigned long kTiocCons = 0x541D;
    testsupport::IoctlDevice tty(bed_->get(), "/dev/ttyS9", {kTiocCons});
    ASSERT_TRUE(tty.attached());
    for (const int result : {0, -1}) {  // accepted, refused: the same lines
        tty.answer([result](unsigned long, int32_t) { return testsupport::IoctlAnswer{result, EPERM, 0}; });
        tty.clear_calls();
        // Standard output is captured into a file here: no terminal name.
        EXPECT_EQ(logged([] { Zev_Change_Console("/dev/ttyS9"); }),
                  (Lines{"WAR Zev_Change_Console : get ttyname error \n",
                         "DBG Zev_Change_Console :conlose change to /dev/ttyS9\n"}));
        EXPECT_EQ(tty.calls(), (std::vector<testsupport::IoctlCall>{{kTiocCons, 0}})) << result;
    }
    EXPECT_EQ(logged([] { Zev_Change_Console("/dev/ttyNONE"); }), Lines{"WAR Zev_Change_Console : get ttyname error \n"});
}

}  // namespace
