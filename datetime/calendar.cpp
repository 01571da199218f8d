// SPDX-License-Identifier: MIT
#include "datetime/calendar.hpp"

#include <cstring>
#include <ctime>
#include <limits>

#include "frame/local_time.hpp"
#include "zev_settings.h"

namespace comm {
namespace {

constexpr int32_t kZoneBufferSize = 66;
constexpr int32_t kZoneReadSize = 65;

// Floor division, for day counts before 1970.
constexpr int64_t floor_div(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace

bool fits_time_t(int64_t t) {
    return t >= static_cast<int64_t>(std::numeric_limits<time_t>::min()) &&
           t <= static_cast<int64_t>(std::numeric_limits<time_t>::max());
}

void civil_from_days(int64_t days, int64_t &year, int32_t &mon, int32_t &mday) {
    // Days in eras of 400 years (146097 days), counted from 0000-03-01.
    const int64_t z = days + 719468;
    const int64_t era = floor_div(z, 146097);
    const int64_t doe = z - era * 146097;                                       // 0 .. 146096
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;  // 0 .. 399
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);                // 0 .. 365
    const int64_t mp = (5 * doy + 2) / 153;                                     // March is 0
    mday = static_cast<int32_t>(doy - (153 * mp + 2) / 5 + 1);
    mon = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
    year = yoe + era * 400 + (mon <= 2 ? 1 : 0);
}

void break_down(int64_t t, hiSYSTEM_TM_S &out) {
    if (fits_time_t(t)) {
        const time_t tt = static_cast<time_t>(t);
        if (struct tm tm{}; local_time(tt, tm)) {
            out.s32sec = tm.tm_sec;
            out.s32min = tm.tm_min;
            out.s32hour = tm.tm_hour;
            out.s32mday = tm.tm_mday;
            out.s32mon = tm.tm_mon + 1;
            out.s32year = tm.tm_year + 1900;
            return;
        }
    }
    const int64_t days = floor_div(t, 86400);
    const int64_t secs = t - days * 86400;
    int64_t year = 0;
    civil_from_days(days, year, out.s32mon, out.s32mday);
    out.s32year = static_cast<int32_t>(year);
    out.s32hour = static_cast<int32_t>(secs / 3600);
    out.s32min = static_cast<int32_t>(secs / 60 % 60);
    out.s32sec = static_cast<int32_t>(secs % 60);
}

int32_t configured_zone_offset() {
    // One byte beyond what the settings library may fill keeps the text
    // terminated whatever it does.
    char zone[kZoneBufferSize + 1];
    memset(zone, 0, sizeof zone);
    (void)Zev_Settings_GetKeyStrVal(kZoneKey, zone, kZoneReadSize);
    return Zev_Comm_TimeZone_to_Sec(zone);
}

}  // namespace comm
