// SPDX-License-Identifier: MIT
// Board switches and the PMU client with the temperature test mode off, on
// one testbed. The kernel command line's line is logged once per process
// and the PMU descriptor is kept once open, so the tests run in this order:
// the command line first, the PMU without its device before the late one.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "comm_board.h"
#include "comm_log.h"
#include "comm_pmu.h"
#include "ioctl_device.hpp"
#include "log_lines.hpp"
#include "testbed.hpp"

using namespace testsupport;

namespace {

const std::string kCmdLine = "console=ttyS0,115200 rootfs=squashfs mtdparts=nor:ft=TEMq\n";
const std::string kTemp = "/sys/devices/virtual/mstar/msys/TEMP_R";
const std::string kTouch = "/sys/class/i2c-dev/i2c-4/device/4-005d/drv_irq";
const std::string kGpio = "/sys/class/gpio/";
const std::string kPmu = "/dev/ip_6303";

class Board : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (Testbed::available()) (bed_ = new Testbed)->write("/proc/cmdline", kCmdLine);
    }
    static void TearDownTestSuite() { driver_.reset(), delete bed_; }
    void SetUp() override {
        REQUIRE_TESTBED();
        Zev_Comm_SetPrintLev(7);
    }
    static IoctlDevice &driver() {
        return driver_ ? *driver_ : *(driver_ = std::make_unique<IoctlDevice>(bed_->get(), kPmu));
    }
    static inline Testbed *bed_ = nullptr;
    static inline std::unique_ptr<IoctlDevice> driver_;
};

TEST_F(Board, CommandLineIsAPlainSubstringTest) {
    EXPECT_EQ(
        logged([] { return Zev_Comm_CheckCmdLime("rootfs="); }),
        std::pair(1,
                  Lines{"WAR Zev_Comm_CheckCmdLime :cmdline[rootfs=]: " + kCmdLine,
                        "VER Zev_Comm_CheckCmdLime :get cmdline: rootfs=squashfs mtdparts=nor:ft=TEMq\n"}));
    EXPECT_EQ(logged([] { return Zev_Comm_IsTempTestMode(); }), std::pair(0, Lines{}))
        << "whoever asks next, the WAR line is gone";
    // The file or a folder in its place (opens, gives no byte), the needle, the result (= VER lines).
    // clang-format off
    for (const auto &[readable, needle, result] : {std::tuple{true, "ttyS0,1152", 1}, {true, "ft=TEMP", 0},
             {true, "", 1}, {true, "\n", 1}, {true, "CONSOLE", 0}, {false, "", 1}, {false, "console", 0}, {false, " ", 0}}) {
        // clang-format on
        ASSERT_TRUE(bed_->remove("/proc/cmdline") &&
                    (readable ? bed_->write("/proc/cmdline", kCmdLine) : bed_->mkdir("/proc/cmdline")));
        const auto [r, lines] = logged([needle = needle] { return Zev_Comm_CheckCmdLime(needle); });
        EXPECT_EQ(std::pair(r, lines.size()), std::pair(result, size_t(result))) << readable << needle;
    }
    ASSERT_TRUE(bed_->remove("/proc/cmdline") && bed_->write("/proc/cmdline", "ft=TEMP\n"));
    logged([] { EXPECT_EQ(Zev_Comm_CheckCmdLime("ft=TEMP"), 1); });
    EXPECT_EQ(Zev_Comm_IsTempTestMode(), 0) << "decided by the first look";
}

TEST_F(Board, CpuTemperatureFromTheOverrideOrTheAttribute) {
    // "Temperature " is 12 bytes ahead of the number, 30 bytes are read. Then the attribute, the
    // override (0 for none), the result.
    const std::string p = "Temperature ";
    // clang-format off
    for (const auto &[text, set, result] : {std::tuple{p + "45\n", 50, 50}, {p + "45\n", -20, -20}, {p + "45\n", 1, 1},
             {p + "45\n", 0, 45}, {p + "-3\n", 0, -3}, {p, 0, 0}, {"short\n", 0, 0}, {"", 0, 0},
             {"CPU temp is 71 C\n", 0, 71}, {p + std::string(17, ' ') + "78", 0, 7}}) {
        // clang-format on
        ASSERT_TRUE(bed_->write(kTemp, text));
        EXPECT_EQ(logged([set = set] { Zev_Comm_SetCpuTemp(set); }),
                  Lines{"INF Zev_Comm_SetCpuTemp :" + std::to_string(set) + " du\n"});
        EXPECT_EQ(s_iCpuTempTest, set);
        EXPECT_EQ(Zev_Comm_GetCPUTemp(), result) << text << set;
    }
    ASSERT_TRUE(bed_->remove(kTemp));
    EXPECT_EQ(Zev_Comm_GetCPUTemp(), 0) << "without the attribute";
}

TEST_F(Board, TouchIgnoreWritesTheInterruptSwitch) {
    for (const auto &[flag, written] : {std::pair{1, "0"}, {0, "1"}, {-1, "0"}, {256, "0"}}) {
        ASSERT_TRUE(bed_->write(kTouch, ""));
        const std::string f = "DBG Zev_Comm_SetTouchIgnore :bIgnore=" + std::to_string(flag);
        EXPECT_EQ(logged([flag = flag] { Zev_Comm_SetTouchIgnore(flag); }),
                  (Lines{f + " in\n", f + " out\n"}));
        EXPECT_EQ(bed_->read(kTouch), written) << flag;
    }
    ASSERT_TRUE(bed_->remove("/sys/class/i2c-dev"));  // no switch: no line out, nothing made
    EXPECT_EQ(logged([] { Zev_Comm_SetTouchIgnore(1); }),
              Lines{"DBG Zev_Comm_SetTouchIgnore :bIgnore=1 in\n"});
    EXPECT_FALSE(bed_->exists(kTouch));
}

TEST_F(Board, UsbSwitchDrivesPin33Inverted) {
    const std::string on("1\0\0\0", 4), off("0\0\0\0", 4);
    // Flag, value and export there, result (only the value's step reaches the caller), value written.
    for (const auto &[flag, value_there, export_there, result, value] :
         // clang-format off
         {std::tuple{0, true, true, 0, on}, {1, true, true, 0, off}, {-1, true, true, 0, off},
          {0, true, false, 0, on}, {1, false, true, -1, std::string()}}) {
        // clang-format on
        ASSERT_TRUE(bed_->remove(kGpio + "export") && bed_->remove(kGpio + "gpio33/value") &&
                    (!export_there || bed_->write(kGpio + "export", "")) &&
                    (!value_there || bed_->write(kGpio + "gpio33/value", "")) &&
                    bed_->write(kGpio + "gpio33/direction", "in\n"));
        EXPECT_EQ(logged([flag = flag] { return Zev_Comm_UsbSwitcher(flag); }).first, result) << flag;
        EXPECT_EQ(bed_->read(kGpio + "gpio33/value") + bed_->read(kGpio + "gpio33/direction"),
                  value + std::string("out\0", 4));
        EXPECT_EQ(bed_->read(kGpio + "export"), export_there ? std::string("33\0\0", 4) : "")
            << "on every call";
    }
}

TEST_F(Board, ConsoleRedirectionOnAMockedTerminal) {
    constexpr unsigned long kTiocCons = 0x541D;
    IoctlDevice tty(bed_->get(), "/dev/ttyS9", {kTiocCons});
    ASSERT_TRUE(tty.attached());
    tty.answer([](unsigned long, int32_t) { return IoctlAnswer{-1, EPERM, 0}; });  // refused: the same lines
    // Standard output is captured into a file here: no terminal name.
    EXPECT_EQ(logged([] { Zev_Change_Console("/dev/ttyS9"); }),
              (Lines{"WAR Zev_Change_Console : get ttyname error \n",
                     "DBG Zev_Change_Console :conlose change to /dev/ttyS9\n"}));
    EXPECT_EQ(tty.calls(), (std::vector<IoctlCall>{{kTiocCons, 0}}));
    EXPECT_EQ(logged([] { Zev_Change_Console("/dev/ttyNONE"); }),
              Lines{"WAR Zev_Change_Console : get ttyname error \n"});
}

// Each PMU operation: its request and the word it must carry, the result
// without the device, the word a successful request hands back, the result
// then and its log line.
// clang-format off
struct Op { std::string name; int32_t (*call)(); unsigned long request; int32_t word_in, no_device, driver_word, result; std::string line; };
#define OP(fn, args) #fn, [] { return fn args; }
const Op kOps[] = {
    {OP(Zev_Pmu_IsDcIn, ()), 0x80044D89, 0, 1, 5, 5, ""}, {OP(Zev_Pmu_IsAccOn, ()), 0x80044D88, 0, 1, 1, 1, ""},
    {OP(Zev_Pmu_GetBootRes, ()), 0x80044D90, 0, 0, 0x81, 0x81, "INF Zev_Pmu_GetBootRes ::0x81\n"},
    {OP(Zev_Pmu_GetBootRes, ()), 0x80044D90, 0, 0, -1, -1, "INF Zev_Pmu_GetBootRes ::0xffffffff\n"},
    {OP(Zev_Pmu_GetType, ()), 0x80044D82, 0, 0, 2, 1, ""}, {OP(Zev_Pmu_GetType, ()), 0x80044D82, 0, 0, -3, 1, ""},
    {OP(Zev_Pmu_SetCap, ()), 0x40044D87, 240, 0, 200, 200, "WAR Zev_Pmu_SetCap ::200 mA\n"},
    {OP(Zev_Pmu_GetVoltage, (-9)), 0x40044D85, 0, 0, 12345, 12345, "WAR Zev_Pmu_GetVoltage :12345 mv\n"},
    {OP(Zev_Pmu_GetVoltage, (0)), 0x40044D85, 0, 0, 12345, 12345, "VER Zev_Pmu_GetVoltage :12345 mv\n"},
    {OP(Zev_Pmu_SetChargeCurrent, (INT32_MIN)), 0x40044D84, INT32_MIN, 0, 800, 800, "VER Zev_Pmu_SetChargeCurrent :800 mA\n"},
    {OP(Zev_Pmu_GetChargeCurrent, ()), 0x40044D86, 0, 0, 450, 450, "VER Zev_Pmu_GetChargeCurrent :450 mA\n"},
    {OP(Zev_Pmu_GetNtcTemperature, ()), 0x80044D83, 0, 0, -12, -12, "VER Zev_Pmu_GetNtcTemperature :-12 du\n"},
    {OP(Zev_Pmu_PowerOff, (-7)), 0x40044D91, -7, 0, 77, 77, ""}, {OP(Zev_Pmu_SetPowerOffTimeOut, (-1)), 0x40044D92, -1, 0, 55, 0, ""},
    {OP(Zev_Pmu_IsPowerKeyPressed, ()), 0x80044D94, 0, 0, 2, 2, "VER Zev_Pmu_IsPowerKeyPressed :pwrkey:DOWN\n"},
    {OP(Zev_Pmu_IsPowerKeyPressed, ()), 0x80044D94, 0, 0, 0, 0, "VER Zev_Pmu_IsPowerKeyPressed :pwrkey:UP\n"},
    {OP(Zev_Pmu_GetSDInsterStat, ()), 0x80044D95, 0, 0, 1, 1, "VER Zev_Pmu_GetSDInsterStat :SD_In:1\n"}};
// clang-format on

TEST_F(Board, PmuWithoutTheDeviceEveryOperationFallsBack) {
    for (const Op &op : kOps) {
        EXPECT_EQ(logged(op.call),
                  std::pair(op.no_device,
                            Lines{"ERR ZevPmuInit :/dev/ip_6303 not exist\n",
                                  "ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                                  "ERR " + op.name + " :pmu not initialized, please initialized first\n"}))
            << op.name;
    }
    ASSERT_TRUE(bed_->mkdir(kPmu));  // there, but cannot be opened: no first line
    EXPECT_EQ(logged(Zev_Pmu_IsAccOn),
              std::pair(1, Lines{"ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                                 "ERR Zev_Pmu_IsAccOn :pmu not initialized, please initialized first\n"}));
    EXPECT_TRUE(bed_->remove(kPmu));
}

TEST_F(Board, PmuDeviceThatComesLateIsOpenedByTheNextCallAndKept) {
    ASSERT_TRUE(driver().attached());
    driver().answer([](unsigned long, int32_t) { return IoctlAnswer{0, 0, 1}; });
    // With descriptor 0 free the device gets it, and 0 must count as open
    // (no capture here: it would take descriptor 0).
    close(STDIN_FILENO);
    EXPECT_EQ(Zev_Pmu_IsDcIn(), 1);
    char target[256] = {};
    EXPECT_TRUE(readlink("/proc/self/fd/0", target, sizeof target - 1) > 0 && strstr(target, "ip_6303"))
        << target;
    EXPECT_EQ(logged([] { EXPECT_EQ(Zev_Pmu_IsAccOn(), 1); }), Lines{});
    const int probe_before = dup(0);  // kept open: further calls open nothing new
    close(probe_before);
    for (int i = 0; i < 50; ++i)
        for (const Op &op : kOps) logged([&] { op.call(); });
    EXPECT_EQ(dup(0), probe_before);
    EXPECT_EQ(driver().calls().size(), 2u + 50u * std::size(kOps));
}

TEST_F(Board, PmuFailedRequestThenASucceedingOneOnTheSameDescriptor) {
    IoctlDevice &dev = driver();
    logged([] { Zev_Comm_IsTempTestMode(); });  // its once-per-process line, when run alone
    for (const Op &op : kOps) {
        dev.clear_calls();
        dev.answer([](unsigned long, int32_t) { return IoctlAnswer{-1, EIO, 1}; });
        // DC in and ACC too give 0: the opposite of no device
        EXPECT_EQ(logged(op.call), std::pair(0, Lines{"ERR " + op.name + " :failed\n"}));
        dev.answer([word = op.driver_word](unsigned long, int32_t) { return IoctlAnswer{0, 0, word}; });
        EXPECT_EQ(logged(op.call), std::pair(op.result, op.line.empty() ? Lines{} : Lines{op.line}))
            << op.name;
        EXPECT_EQ(dev.calls(), (std::vector<IoctlCall>{{op.request, op.word_in}, {op.request, op.word_in}}))
            << op.name;
    }
}

}  // namespace
