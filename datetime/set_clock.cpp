// SPDX-License-Identifier: MIT
// Setting the system clock, saving it to the hardware clock, and the
// time-set flag.
#include <sys/time.h>

#include <cstring>
#include <ctime>

#include "comm_datetime.h"
#include "comm_log.h"
#include "comm_sys.h"
#include "datetime/calendar.hpp"
#include "frame/local_time.hpp"
#include "rtc_clock.h"
#include "zev_settings.h"

namespace comm {
namespace {

// 1 once a date unlike the default date in year, month and day was set.
int32_t s_bTimeSeted = 0;

constexpr int32_t kDefaultYear = 2025;
constexpr int32_t kDefaultMon = 1;
constexpr int32_t kDefaultMday = 1;
constexpr size_t kClockTextSize = 26;  // asctime_r's fixed text and terminator

// The wall-clock seconds for a checked record plus an offset; false when
// mktime() fails or the sum does not fit the system's time_t.
bool clock_target(const hiSYSTEM_TM_S &r, int32_t offset, time_t &target) {
    struct tm tm {};
    tm.tm_sec = r.s32sec;
    tm.tm_min = r.s32min;
    tm.tm_hour = r.s32hour;
    tm.tm_mday = r.s32mday;
    tm.tm_mon = r.s32mon - 1;
    tm.tm_year = r.s32year - 1900;  // the year is checked above 1970: no overflow
    const time_t base = mktime(&tm);
    // A checked year lies after 1970, so -1 is always mktime's failure.
    if (base == static_cast<time_t>(-1)) return false;
    const int64_t sum = static_cast<int64_t>(base) + offset;
    if (!fits_time_t(sum)) return false;
    target = static_cast<time_t>(sum);
    return true;
}

// ctime()'s text, made without its static records.
const char *clock_text(time_t t, char (&buf)[kClockTextSize]) {
    struct tm tm {};
    if (local_time(t, tm) && asctime_r(&tm, buf) != nullptr) return buf;
    return "(no date)\n";
}

// A wall-clock value that time_t cannot hold (a 32-bit time_t from
// 2038-01-19 03:14:08 on) would reach settimeofday() wrapped into the past:
// the clock keeps its time instead. Every other step still follows.
void set_clock(const hiSYSTEM_TM_S &r, int32_t offset) {
    time_t target = 0;
    if (!clock_target(r, offset, target)) return;
    struct timeval tv {};
    tv.tv_sec = target;
    (void)settimeofday(&tv, nullptr);
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zve_Comm_SetDateTime_TimeZone(const hiSYSTEM_TM_S *pstDateTime, int32_t iOffset) {
    ZEV_COMM_CHECK_POINTER(pstDateTime);
    ZEV_COMM_CHECK_EXPR(1970 < pstDateTime->s32year);
    ZEV_COMM_CHECK_EXPR(ZEV_COMM_CHECK_RANGE(pstDateTime->s32mon, 1, 12));
    ZEV_COMM_CHECK_EXPR(ZEV_COMM_CHECK_RANGE(pstDateTime->s32mday, 1, 31));
    ZEV_COMM_CHECK_EXPR(ZEV_COMM_CHECK_RANGE(pstDateTime->s32hour, 0, 23));
    ZEV_COMM_CHECK_EXPR(ZEV_COMM_CHECK_RANGE(pstDateTime->s32min, 0, 59));
    ZEV_COMM_CHECK_EXPR(ZEV_COMM_CHECK_RANGE(pstDateTime->s32sec, 0, 59));

    comm::set_clock(*pstDateTime, iOffset);
    (void)Zev_Comm_UpdateSysTimeToRtc();

    struct timeval now {};
    (void)gettimeofday(&now, nullptr);
    char text[comm::kClockTextSize];
    ZEV_COMM_DBG("%s\n", comm::clock_text(now.tv_sec, text));

    if (pstDateTime->s32year != comm::kDefaultYear && pstDateTime->s32mon != comm::kDefaultMon &&
        pstDateTime->s32mday != comm::kDefaultMday)
        comm::s_bTimeSeted = 1;
    return 0;
}

COMM_API int32_t Zve_Comm_SetDateTime(const hiSYSTEM_TM_S *pstDateTime) {
    return Zve_Comm_SetDateTime_TimeZone(pstDateTime, 0);
}

COMM_API int32_t Zve_Comm_SetDateTimeEx(int32_t year, int32_t mon, int32_t mday, int32_t hour, int32_t min,
                                        int32_t sec) {
    hiSYSTEM_TM_S r{};
    r.s32year = year;
    r.s32mon = mon;
    r.s32mday = mday;
    r.s32hour = hour;
    r.s32min = min;
    r.s32sec = sec;
    return Zve_Comm_SetDateTime(&r);
}

COMM_API int32_t Zev_Comm_ResetToDefaultTime(void) {
    (void)Zve_Comm_SetDateTimeEx(comm::kDefaultYear, comm::kDefaultMon, comm::kDefaultMday, 0, 0, 0);
    return 0;
}

COMM_API int32_t Zve_Comm_SetUtcDateTime(const hiSYSTEM_TM_S *pstDateTime) {
    const int32_t offset = comm::configured_zone_offset();
    return Zve_Comm_SetDateTime_TimeZone(pstDateTime, offset);
}

COMM_API int32_t Zve_Comm_UpdateTimeZone(const char *pZone) {
    ZEV_COMM_CHECK_POINTER(pZone);
    const int64_t old_offset = comm::configured_zone_offset();
    int64_t clock = static_cast<int64_t>(time(nullptr)) - old_offset;
    (void)Zev_Settings_Set(comm::kZoneKey, pZone);
    clock += Zev_Comm_TimeZone_to_Sec(pZone);
    hiSYSTEM_TM_S r{};
    comm::break_down(clock, r);
    return Zve_Comm_SetDateTime(&r);
}

COMM_API int32_t Zve_Comm_GetRtcTime(hiSYSTEM_TM_S *pstDateTime) {
    (void)Zev_Comm_UpdateSysTimeFromRtc();
    return Zev_Comm_GetLocalTime(pstDateTime);
}

COMM_API int32_t Zev_Comm_UpdateSysTimeFromRtc(void) { return Zev_Comm_SystemEx(COMM_RTC_TO_SYSTEM_CMD); }

COMM_API int32_t Zev_Comm_UpdateSysTimeToRtc(void) { return Zev_Comm_SystemEx(COMM_SYSTEM_TO_RTC_CMD); }

COMM_API int32_t Zve_Comm_IsTimeSeted(void) { return comm::s_bTimeSeted; }

}  // extern "C"
