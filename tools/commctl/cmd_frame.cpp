// SPDX-License-Identifier: MIT
// log-demo and clock: the frame as an application sees it.
#include <cstring>

#include "comm_clock.h"
#include "comm_log.h"
#include "command.hpp"
#include "json.hpp"

namespace {

int run_log_demo(commctl::Args args) {
    if (!args.empty()) return commctl::usage_error("log-demo takes no arguments");
    printf("print level %d\n", Zev_Comm_GetPrintLev());
    ZEV_COMM_ERR("an ERR line (level 1 and up)\n");
    ZEV_COMM_WAR("a WAR line (level 2 and up)\n");
    ZEV_COMM_INF("an INF line (level 3 and up)\n");
    ZEV_COMM_DBG("a DBG line (level 4 and up)\n");
    ZEV_COMM_DDD("a DDD line (level 5 and up)\n");
    ZEV_COMM_VER("a VER line (level 6 and up)\n");
    ZEV_COMM_VVV("a VVV line (level 7)\n");
    return commctl::kOk;
}

int run_clock(commctl::Args args) {
    if (!args.empty()) return commctl::usage_error("clock takes no arguments");
    char rtc[16] = {};
    ZevSysFormatRtcTime(rtc);
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .num("boot_ms", Zev_Comm_GetBootMs())
            .num("boot_100ms", Zev_Comm_GetBoot100Ms())
            .num("boot_s", Zev_GetSysBootSec())
            .num("running_time", ZevSysRnuningTime())
            .num("wall_s", ZevGetRtcSeconds())
            .str("wall_text", rtc)
            .str("log_time", ZevSysRtcTime())
            .end();
        return commctl::kOk;
    }
    printf("boot ms      %u\n", Zev_Comm_GetBootMs());
    printf("boot 100 ms  %u\n", Zev_Comm_GetBoot100Ms());
    printf("boot s       %d\n", Zev_GetSysBootSec());
    printf("running time %u\n", ZevSysRnuningTime());
    printf("wall s       %d\n", ZevGetRtcSeconds());
    printf("wall text    %s\n", rtc);
    printf("log time     %s\n", ZevSysRtcTime());
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(log_demo, "log-demo", "print one log line per tag at the current level",
                "usage: commctl [--level N] log-demo\n"
                "\n"
                "Prints one library log line for each tag (ERR WAR INF DBG DDD VER VVV).\n"
                "Only the tags at or below the print level appear; the level starts at 5.\n",
                run_log_demo);

COMMCTL_COMMAND(clock, "clock", "show the boot and wall clocks",
                "usage: commctl clock\n"
                "\n"
                "Shows the monotonic clock in ms, 100 ms and s (the ms count wraps at\n"
                "2^32), and the wall clock in seconds and as text, in the system zone.\n",
                run_clock);
