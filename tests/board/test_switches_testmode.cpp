// SPDX-License-Identifier: MIT
// The temperature test mode on ("ft=TEMP" inside a longer word of the kernel
// command line), in a process of its own since the mode and the PMU
// descriptor are kept per process; the steps run in this order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "comm_board.h"
#include "comm_log.h"
#include "comm_pmu.h"
#include "ioctl_device.hpp"
#include "log_lines.hpp"
#include "testbed.hpp"

using namespace testsupport;

TEST(TempTestMode, CpuSixtySixAndNtcThirtySevenOnceTheDeviceIsThere) {
    REQUIRE_TESTBED();
    Testbed bed;
    const std::string cmdline = "console=ttyS0 mode=soft=TEMPERATE quiet\n";
    ASSERT_TRUE(bed.write("/proc/cmdline", cmdline) &&
                bed.write("/sys/devices/virtual/mstar/msys/TEMP_R", "Temperature 45\n"));
    Zev_Comm_SetPrintLev(7);
    // Without the device the NTC reading is 0 and does not ask for the mode.
    EXPECT_EQ(
        logged(Zev_Pmu_GetNtcTemperature),
        std::pair(
            0,
            Lines{"ERR ZevPmuInit :/dev/ip_6303 not exist\n", "ERR ZevPmuInit :open [/dev/ip_6303] failed\n",
                  "ERR Zev_Pmu_GetNtcTemperature :pmu not initialized, please initialized first\n"}));
    // So the first look is this one, and it is kept.
    EXPECT_EQ(logged(Zev_Comm_IsTempTestMode),
              std::pair(1, Lines{"WAR Zev_Comm_CheckCmdLime :cmdline[ft=TEMP]: " + cmdline,
                                 "VER Zev_Comm_CheckCmdLime :get cmdline: ft=TEMPERATE quiet\n"}));
    ASSERT_TRUE(bed.write("/proc/cmdline", "console=ttyS0\n"));
    EXPECT_EQ(logged(Zev_Comm_IsTempTestMode), std::pair(1, Lines{}));
    for (const auto &[set, result] : {std::pair{0, 66}, {50, 50}, {-4, -4}, {0, 66}}) {
        s_iCpuTempTest = set;
        EXPECT_EQ(Zev_Comm_GetCPUTemp(), result) << set;
    }
    // With the device: 37 without a request.
    IoctlDevice driver(bed.get(), "/dev/ip_6303");
    EXPECT_EQ(logged(Zev_Pmu_GetNtcTemperature),
              std::pair(37, Lines{"VER Zev_Pmu_GetNtcTemperature :37 du\n"}));
    EXPECT_TRUE(driver.attached() && driver.calls().empty());
}
