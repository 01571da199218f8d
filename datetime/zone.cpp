// SPDX-License-Identifier: MIT
// The zone table, the local clock and the date texts.
#include <cstdio>
#include <cstring>
#include <ctime>

#include "comm_datetime.h"
#include "comm_log.h"
#include "datetime/calendar.hpp"
#include "zev_settings.h"

namespace comm {
namespace {

struct Zone {
    const char *name;
    int32_t seconds;  // east of Greenwich is positive
};

constexpr Zone kZones[] = {
    {"GMT-12:00", -43200}, {"GMT-11:00", -39600},
    {"GMT-10:00", -36000}, {"GMT-09:00", -32400},
    {"GMT-08:00", -28800}, {"GMT-07:00", -25200},
    {"GMT-06:00", -21600}, {"GMT-05:00", -18000},
    {"GMT-04:00", -14400}, {"GMT-03:30", -12600},
    {"GMT-03:00", -10800}, {"GMT-02:00", -7200},
    {"GMT-01:00", -3600},  {"GMT", 0},
    {"GMT+00:00", 0},      {"GMT+01:00", 3600},
    {"GMT+02:00", 7200},   {"GMT+03:00", 10800},
    {"GMT+03:30", 12600},  {"GMT+04:00", 14400},
    {"GMT+04:30", 16200},  {"GMT+05:00", 18000},
    {"GMT+05:30", 19800},  {"GMT+05:45", 20700},
    {"GMT+06:00", 21600},  {"GMT+06:30", 23400},
    {"GMT+07:00", 25200},  {"GMT+08:00", 28800},
    {"GMT+09:00", 32400},  {"GMT+09:30", 34200},
    {"GMT+10:00", 36000},  {"GMT+11:00", 39600},
    {"GMT+12:00", 43200},  {"GMT+13:00", 46800},
    {"GMT+14:00", 50400},
};
static_assert(sizeof kZones / sizeof kZones[0] == 35);

constexpr const char kDefaultZone[] = "GMT+08:00";
constexpr const char kFormatKey[] = "Camera.Menu.TimeFormat";
constexpr int32_t kFormatBufferSize = 66;
constexpr size_t kDateTextSize = 32;

// One pass of the lookup: the DBG line, then the table in order.
bool find_zone(const char *text, int32_t &seconds) {
    ZEV_COMM_LOG_AS(DBG, "Zev_Comm_TimeZone_to_Sec", "%s\n", text);
    for (const Zone &z : kZones) {
        if (strcmp(text, z.name) == 0) {
            seconds = z.seconds;
            return true;
        }
    }
    return false;
}

void put_text(char (&dst)[kDateTextSize], const char *text) { (void)snprintf(dst, sizeof dst, "%s", text); }

// Static state, constant-initialised.
char s_szRealDate[kDateTextSize] = {};
char s_szBuildDate[kDateTextSize] = {};

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_TimeZone_to_Sec(const char *pZone) {
    const char *text = pZone != nullptr ? pZone : "(null)";
    int32_t seconds = 0;
    if (comm::find_zone(text, seconds)) return seconds;
    ZEV_COMM_ERR("error:%s, set to default:%s\n", text, comm::kDefaultZone);
    (void)comm::find_zone(comm::kDefaultZone, seconds);
    return seconds;
}

COMM_API int32_t Zev_Comm_GetLocalTime(hiSYSTEM_TM_S *pstDateTime) {
    ZEV_COMM_CHECK_POINTER(pstDateTime);
    const int64_t offset = comm::configured_zone_offset();
    comm::break_down(static_cast<int64_t>(time(nullptr)) + offset, *pstDateTime);
    return 0;
}

COMM_API int32_t Zev_Comm_CheckIsTimeValid(hiSYSTEM_TM_S stDateTime) {
    return stDateTime.s32year > 2024 ? 0 : -1;
}

COMM_API char *Zev_Comm_GetRealDate(void) {
    char format[comm::kFormatBufferSize + 1];  // stays terminated whatever is read
    memset(format, 0, sizeof format);
    (void)Zev_Settings_GetKeyStrVal(comm::kFormatKey, format, comm::kFormatBufferSize);
    if (Zev_Settings_CompStr(format, "1") == 0)
        comm::put_text(comm::s_szRealDate, "09-20-2025");
    else if (Zev_Settings_CompStr(format, "2") == 0)
        comm::put_text(comm::s_szRealDate, "20-09-2025");
    else
        comm::put_text(comm::s_szRealDate, "2025-09-20");
    return comm::s_szRealDate;
}

COMM_API char *Zev_Comm_GetBuildDate(void) {
    comm::put_text(comm::s_szBuildDate, "2025-09-20");
    return comm::s_szBuildDate;
}

}  // extern "C"
