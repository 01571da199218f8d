// SPDX-License-Identifier: MIT
// temp, usb and touch: the board's small switches and its temperatures.
#include <cstring>

#include "comm_board.h"
#include "comm_pmu.h"
#include "command.hpp"
#include "json.hpp"

namespace {

const char kTempUsage[] =
    "usage: commctl temp\n"
    "\n"
    "Shows the CPU temperature (override, test mode 66, or the SoC's\n"
    "attribute; 0 when it cannot be read) and the PMU's NTC temperature (37 in\n"
    "the temperature test mode, ft=TEMP on the kernel command line).\n";

const char kUsbUsage[] =
    "usage: commctl usb on|off\n"
    "\n"
    "Drives the USB switch on GPIO 33 (inverted: on sets the pin to 0).\n";

const char kTouchUsage[] =
    "usage: commctl touch ignore|accept\n"
    "\n"
    "Switches the touch controller's interrupt off (ignore) or on (accept).\n";

int run_temp(commctl::Args args) {
    if (!args.empty()) return commctl::usage_error("temp takes no arguments");
    const int32_t cpu = Zev_Comm_GetCPUTemp();
    const int32_t ntc = Zev_Pmu_GetNtcTemperature();
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .num("cpu", cpu)
            .num("ntc", ntc)
            .flag("test_mode", Zev_Comm_IsTempTestMode() != 0)
            .end();
        return commctl::kOk;
    }
    printf("cpu %d\n", cpu);
    printf("ntc %d\n", ntc);
    printf("test mode %s\n", Zev_Comm_IsTempTestMode() != 0 ? "on" : "off");
    return commctl::kOk;
}

// Parses the one word of an on/off style command: 1 for `yes`, 0 for `no`.
int one_of(commctl::Args args, const char *cmd, const char *yes, const char *no, int32_t &flag) {
    if (args.size() != 1) return commctl::usage_error("%s wants %s or %s", cmd, yes, no);
    if (strcmp(args[0], yes) == 0) {
        flag = 1;
    } else if (strcmp(args[0], no) == 0) {
        flag = 0;
    } else {
        return commctl::usage_error("%s wants %s or %s, not '%s'", cmd, yes, no, args[0]);
    }
    return commctl::kOk;
}

int run_usb(commctl::Args args) {
    int32_t on = 0;
    if (const int s = one_of(args, "usb", "on", "off", on); s != commctl::kOk) return s;
    const int32_t r = Zev_Comm_UsbSwitcher(on);
    if (r != 0) return commctl::failure("usb %s failed (%d): no value attribute for GPIO 33", args[0], r);
    return commctl::kOk;
}

int run_touch(commctl::Args args) {
    int32_t ignore = 0;
    if (const int s = one_of(args, "touch", "ignore", "accept", ignore); s != commctl::kOk) return s;
    Zev_Comm_SetTouchIgnore(ignore);  // no result: a missing attribute goes unseen
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(temp, "temp", "show the CPU and NTC temperatures", kTempUsage, run_temp);
COMMCTL_COMMAND(usb, "usb", "switch USB on GPIO 33", kUsbUsage, run_usb);
COMMCTL_COMMAND(touch, "touch", "ignore or accept touches", kTouchUsage, run_touch);
