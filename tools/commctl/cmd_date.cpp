// SPDX-License-Identifier: MIT
// date: the local time, the system clock, the zone and the time-set flag;
// setting the date, the zone, and loading the clock from the hardware clock.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "comm_clock.h"
#include "comm_datetime.h"
#include "command.hpp"
#include "json.hpp"
#include "zev_settings.h"

namespace {

const char kUsage[] =
    "usage: commctl date\n"
    "       commctl date set YYYY-MM-DD HH:MM:SS [--system-clock]\n"
    "       commctl date set-utc YYYY-MM-DD HH:MM:SS [--system-clock]\n"
    "       commctl date zone ZONE [--system-clock]\n"
    "       commctl date from-rtc [--system-clock]\n"
    "\n"
    "Without arguments: the local time (system clock plus the zone's offset),\n"
    "the system clock, the zone of Camera.Menu.TimeZone and this process's\n"
    "time-set flag.\n"
    "  set      sets the clock to the date (in the system's zone) and saves it\n"
    "           to the hardware clock\n"
    "  set-utc  takes the date as UTC: the clock gets the zone's offset added\n"
    "  zone     stores ZONE (e.g. GMT+09:00) and moves the clock to it\n"
    "  from-rtc loads the system clock from the hardware clock\n"
    "\n"
    "Inside boardsim these change the board's clock only. Anywhere else they\n"
    "change this machine's clock, so they ask for --system-clock there.\n";

constexpr char kZoneKey[] = "Camera.Menu.TimeZone";

// "YYYY-MM-DD HH:MM:SS"; the fields are bounded so that the text fits.
struct DateText {
    char text[64];
};

DateText date_text(const hiSYSTEM_TM_S &t) {
    DateText d{};
    snprintf(d.text, sizeof d.text, "%04d-%02d-%02d %02d:%02d:%02d", t.s32year, t.s32mon, t.s32mday,
             t.s32hour, t.s32min, t.s32sec);
    return d;
}

int show() {
    char zone[66] = {};
    (void)Zev_Settings_GetKeyStrVal(kZoneKey, zone, sizeof zone - 1);
    const int32_t offset = Zev_Comm_TimeZone_to_Sec(zone);
    hiSYSTEM_TM_S local{};
    if (Zev_Comm_GetLocalTime(&local) != 0) return commctl::failure("cannot read the local time");
    char system[16] = {};
    (void)ZevSysFormatRtcTime(system);
    fflush(stdout);  // the library's log lines first
    char clock[32] = {};
    snprintf(clock, sizeof clock, "%.4s-%.2s-%.2s %.2s:%.2s:%.2s", system, system + 4, system + 6, system + 9,
             system + 11, system + 13);
    if (commctl::json_wanted()) {
        commctl::JsonOut json;
        json.str("local_time", date_text(local).text).str("system_clock", clock);
        if (zone[0] != '\0') {
            json.str("zone", zone);
        } else {
            json.null("zone");
        }
        json.num("zone_offset_s", offset).flag("time_set", Zve_Comm_IsTimeSeted() != 0).end();
        return commctl::kOk;
    }
    printf("%-13s%s\n", "local time", date_text(local).text);
    printf("%-13s%s\n", "system clock", clock);
    printf("%-13s%s (%+d s)\n", "zone", zone[0] != '\0' ? zone : "(not set)", offset);
    printf("%-13s%d\n", "time set", Zve_Comm_IsTimeSeted());
    return commctl::kOk;
}

// "YYYY-MM-DD" and "HH:MM:SS", whole words of digits.
bool parse_date(const char *date, const char *time, hiSYSTEM_TM_S &out) {
    int n = 0;
    if (sscanf(date, "%d-%d-%d%n", &out.s32year, &out.s32mon, &out.s32mday, &n) != 3 || date[n] != '\0')
        return false;
    n = 0;
    if (sscanf(time, "%d:%d:%d%n", &out.s32hour, &out.s32min, &out.s32sec, &n) != 3 || time[n] != '\0')
        return false;
    return true;
}

int done(int32_t rc, const char *what) {
    fflush(stdout);
    if (rc != 0) return commctl::failure("date %s refused (%d)", what, rc);
    return show();
}

int run_date(commctl::Args all) {
    // Pull out --system-clock; the rest are the operation's words.
    bool system_clock = false;
    char *words[4] = {};
    size_t count = 0;
    for (char *a : all) {
        if (strcmp(a, "--system-clock") == 0) {
            system_clock = true;
        } else if (count < 4) {
            words[count++] = a;
        } else {
            return commctl::usage_error("too many arguments for date (see commctl date --help)");
        }
    }
    if (count == 0) return show();
    const char *op = words[0];
    const char *root = getenv("BOARDSIM_ROOT");
    const bool on_board = root != nullptr && *root != '\0';
    const bool known = strcmp(op, "set") == 0 || strcmp(op, "set-utc") == 0 || strcmp(op, "zone") == 0 ||
                       strcmp(op, "from-rtc") == 0;
    if (!known) return commctl::usage_error("unknown date operation '%s'", op);
    if (!on_board && !system_clock)
        return commctl::usage_error(
            "date %s would change this machine's clock: run it inside boardsim, "
            "or add --system-clock",
            op);
    if (strcmp(op, "set") == 0 || strcmp(op, "set-utc") == 0) {
        hiSYSTEM_TM_S t{};
        if (count != 3 || !parse_date(words[1], words[2], t))
            return commctl::usage_error("date %s wants YYYY-MM-DD HH:MM:SS", op);
        return done(op[3] == '\0' ? Zve_Comm_SetDateTime(&t) : Zve_Comm_SetUtcDateTime(&t), op);
    }
    if (strcmp(op, "zone") == 0) {
        if (count != 2) return commctl::usage_error("date zone wants one zone text, e.g. GMT+09:00");
        return done(Zve_Comm_UpdateTimeZone(words[1]), op);
    }
    if (count != 1) return commctl::usage_error("date from-rtc takes no arguments");
    hiSYSTEM_TM_S t{};
    const int32_t rc = Zve_Comm_GetRtcTime(&t);
    fflush(stdout);
    if (rc != 0) return commctl::failure("date from-rtc failed (%d)", rc);
    return show();
}

}  // namespace

COMMCTL_COMMAND(date, "date", "show the date and zone; set the date, the zone, or load the hardware clock",
                kUsage, run_date);
