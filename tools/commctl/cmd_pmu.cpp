// SPDX-License-Identifier: MIT
// pmu: every reading of the power-management chip, and its three settings.
#include <unistd.h>

#include <cstring>

#include "comm_pmu.h"
#include "command.hpp"
#include "json.hpp"

namespace {

const char kUsage[] =
    "usage: commctl pmu\n"
    "       commctl pmu set-charge MA\n"
    "       commctl pmu cap\n"
    "       commctl pmu timeout VALUE\n"
    "       commctl pmu power-off VALUE\n"
    "\n"
    "Without arguments, shows every reading of the PMU driver (/dev/ip_6303).\n"
    "set-charge sets the charge current, cap sends the cap value 240,\n"
    "timeout sets the power-off time-out and power-off hands VALUE to the\n"
    "driver's power-off request; each shows the word the driver gave back.\n"
    "The driver's words are passed through as they are. Without the device\n"
    "the library answers with its fall-back values and commctl fails.\n";

constexpr const char *kNode = "/dev/ip_6303";

int show_readings() {
    const bool present = access(kNode, F_OK) == 0;
    const int32_t key = Zev_Pmu_IsPowerKeyPressed();
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .flag("present", present)
            .num("dc_in", Zev_Pmu_IsDcIn())
            .num("acc_on", Zev_Pmu_IsAccOn())
            .num("voltage_mv", Zev_Pmu_GetVoltage(0))
            .num("charge_current_ma", Zev_Pmu_GetChargeCurrent())
            .num("ntc_temperature", Zev_Pmu_GetNtcTemperature())
            .flag("power_key_down", key != 0)
            .num("sd_card", Zev_Pmu_GetSDInsterStat())
            .num("boot_word", static_cast<uint32_t>(Zev_Pmu_GetBootRes()))
            .num("type", Zev_Pmu_GetType())
            .end();
        if (!present)
            return commctl::failure("no PMU device at %s: these are the library's fall-back values", kNode);
        return commctl::kOk;
    }
    printf("dc in           %d\n", Zev_Pmu_IsDcIn());
    printf("acc on          %d\n", Zev_Pmu_IsAccOn());
    printf("voltage         %d mV\n", Zev_Pmu_GetVoltage(0));
    printf("charge current  %d mA\n", Zev_Pmu_GetChargeCurrent());
    printf("ntc temperature %d\n", Zev_Pmu_GetNtcTemperature());
    printf("power key       %s\n", key != 0 ? "down" : "up");
    printf("sd card         %d\n", Zev_Pmu_GetSDInsterStat());
    printf("boot word       0x%x\n", static_cast<unsigned>(Zev_Pmu_GetBootRes()));
    printf("type            %d\n", Zev_Pmu_GetType());
    if (!present)
        return commctl::failure("no PMU device at %s: these are the library's fall-back values", kNode);
    return commctl::kOk;
}

int run_pmu(commctl::Args args) {
    if (args.empty()) return show_readings();
    const char *op = args[0];
    if (strcmp(op, "cap") == 0) {
        if (args.size() != 1) return commctl::usage_error("pmu cap takes no value");
        printf("%d\n", Zev_Pmu_SetCap());
        return commctl::kOk;
    }
    if (strcmp(op, "set-charge") != 0 && strcmp(op, "timeout") != 0 && strcmp(op, "power-off") != 0)
        return commctl::usage_error("unknown pmu operation '%s'", op);
    int32_t value = 0;
    if (args.size() != 2 || !commctl::parse_i32(args[1], value))
        return commctl::usage_error("pmu %s wants one number", op);
    if (strcmp(op, "set-charge") == 0) {
        printf("%d mA\n", Zev_Pmu_SetChargeCurrent(value));
    } else if (strcmp(op, "timeout") == 0) {
        Zev_Pmu_SetPowerOffTimeOut(value);  // the library reports nothing here
    } else {
        printf("%d\n", Zev_Pmu_PowerOff(value));
    }
    if (access(kNode, F_OK) != 0) return commctl::failure("no PMU device at %s", kNode);
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(pmu, "pmu", "show the PMU's readings; set charge current, cap, time-out, power off", kUsage,
                run_pmu);
