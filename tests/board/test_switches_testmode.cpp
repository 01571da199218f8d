// The temperature test mode on ("ft=TEMP" inside a longer word of the
// kernel command line): CPU 66 unless overridden, NTC 37 without a request,
// but only once the PMU device is there. Runs in its own process, since the
// mode and the PMU descriptor are kept per process.
#include <gtest/gtest.h>

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
using testsupport::summarise;

namespace {

const std::string kCmdLine = "console=ttyS0 mode=soft=TEMPERATE quiet\n";

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

class TestMode : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        ASSERT_TRUE(bed().write("/proc/cmdline", kCmdLine));
        ASSERT_TRUE(bed().write("/sys/devices/virtual/mstar/msys/TEMP_R", "Temperature 45\n"));
        Zev_Comm_SetPrintLev(7);
        s_iCpuTempTest = 0;
    }
};

TEST_F(TestMode, NtcWithoutDeviceIsZeroAndAsksNoMode) {
    int32_t r = -1;
    const auto lines = summarise(capture_stdout([&] { r = Zev_Pmu_GetNtcTemperature(); }));
    EXPECT_EQ(r, 0);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2], "ERR Zev_Pmu_GetNtcTemperature :pmu not initialized, please initialized first\n");
}

TEST_F(TestMode, ModeIsOnAndTheFirstLookLogsTheLine) {
    int32_t r = -1;
    const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_IsTempTestMode(); }));
    EXPECT_EQ(r, 1);
    EXPECT_EQ(lines, (std::vector<std::string>{"WAR Zev_Comm_CheckCmdLime :cmdline[ft=TEMP]: " + kCmdLine,
                                               "VER Zev_Comm_CheckCmdLime :get cmdline: ft=TEMPERATE quiet\n"}));
    // Read once: a later command line changes nothing.
    ASSERT_TRUE(bed().write("/proc/cmdline", "console=ttyS0\n"));
    EXPECT_EQ(capture_stdout([&] { r = Zev_Comm_IsTempTestMode(); }), "");
    EXPECT_EQ(r, 1);
}

TEST_F(TestMode, CpuReadsSixtySixUnlessOverridden) {
    const struct {
        int32_t override_value;
        int32_t result;
    } cases[] = {{0, 66}, {50, 50}, {-4, -4}, {0, 66}};
    for (const auto &c : cases) {
        s_iCpuTempTest = c.override_value;
        EXPECT_EQ(Zev_Comm_GetCPUTemp(), c.result) << c.override_value;
    }
}

TEST_F(TestMode, NtcIsThirtySevenWithoutARequest) {
    testsupport::IoctlDevice driver(bed().get(), "/dev/ip_6303");
    ASSERT_TRUE(driver.attached());
    int32_t r = -1;
    const auto lines = summarise(capture_stdout([&] { r = Zev_Pmu_GetNtcTemperature(); }));
    EXPECT_EQ(r, 37);
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Pmu_GetNtcTemperature :37 du\n"});
    EXPECT_TRUE(driver.calls().empty());
    // The other readings still ask the driver.
    driver.answer([](unsigned long, int32_t) { return testsupport::IoctlAnswer{0, 0, 12000}; });
    capture_stdout([&] { r = Zev_Pmu_GetVoltage(0); });
    EXPECT_EQ(r, 12000);
    EXPECT_EQ(driver.calls().size(), 1u);
}

}  // namespace
