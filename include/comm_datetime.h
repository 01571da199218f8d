// SPDX-License-Identifier: MIT
/** @file
 * libcomm date and time: the zone table, the local clock, the date texts,
 * setting the system clock and keeping the hardware clock with it.
 *
 * The zone is the setting "Camera.Menu.TimeZone", a text such as
 * "GMT+08:00"; the date order of the date texts is "Camera.Menu.TimeFormat".
 *
 * How the offsets stand to one another (system zone UTC, record R, offset Z
 * of the configured zone):
 *
 *   last operation                          system clock   Zev_Comm_GetLocalTime
 *   Zve_Comm_SetDateTime(R)                 R              R + Z
 *   Zve_Comm_SetDateTime_TimeZone(R, O)     R + O          R + O + Z
 *   Zve_Comm_SetUtcDateTime(R)              R + Z          R + 2Z
 *
 * 32-bit time_t: a date that the system's time_t cannot hold (from
 * 2038-01-19 03:14:08 UTC on) never reaches the system clock as a wrapped
 * value. Such a clock is left as it is; "hwclock --systohc", the read-back
 * line and the result 0 follow as for any valid record (see
 * Zve_Comm_SetDateTime_TimeZone).
 *
 * Threading: no locks. localtime()'s static tm is shared with every other
 * caller of it, the date texts are static buffers, and the time-set flag is
 * a plain word.
 */
#ifndef COMM_DATETIME_H
#define COMM_DATETIME_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** A broken-down date and time that crosses the interface. */
typedef struct hiSYSTEM_TM_S {
    int32_t s32sec;  /* 0..59 */
    int32_t s32min;  /* 0..59 */
    int32_t s32hour; /* 0..23 */
    int32_t s32mday; /* 1..31 */
    int32_t s32mon;  /* 1..12, January is 1 */
    int32_t s32year; /* the full year, e.g. 2025 */
} hiSYSTEM_TM_S;

/** ---- zones and local time ---------------------------------------------- */

/** The offset from GMT in seconds of a zone text of the 35-row table
 * ("GMT-12:00" .. "GMT+14:00", "GMT", "GMT+00:00"; whole and case-sensitive
 * matches, positive east). Logs the text at DBG. Never fails: any other text
 * logs ERR "error:<text>, set to default:GMT+08:00", a second DBG line with
 * the default zone, and gives 28800. A NULL pZone is taken as an unknown
 * text, shown as "(null)". */
COMM_API int32_t Zev_Comm_TimeZone_to_Sec(const char *pZone);

/** Fills *pstDateTime with the system clock plus the configured zone's
 * offset, broken down by localtime() (which applies the system's zone on
 * top). 0; -1 (ERR "pointer[pstDateTime] is NULL") when pstDateTime is NULL.
 * When the sum lies beyond a 32-bit time_t, the record is broken down in
 * UTC by 64-bit arithmetic instead of being wrapped. */
COMM_API int32_t Zev_Comm_GetLocalTime(hiSYSTEM_TM_S *pstDateTime);

/** 0 when s32year is greater than 2024, else -1; the other fields are not
 * looked at, and nothing is logged. */
COMM_API int32_t Zev_Comm_CheckIsTimeValid(hiSYSTEM_TM_S stDateTime);

/** The library's fixed build date, 20 September 2025, in the order chosen by
 * "Camera.Menu.TimeFormat": "1" gives "09-20-2025", "2" gives "20-09-2025",
 * anything else "2025-09-20". Rewritten in one static buffer at each call:
 * do not free it, copy what you keep. */
COMM_API char *Zev_Comm_GetRealDate(void);

/** "2025-09-20", in a static buffer of its own. */
COMM_API char *Zev_Comm_GetBuildDate(void);

/** ---- setting the clock ------------------------------------------------- */

/** Checks the record, then sets the system clock to mktime(record) + iOffset
 * seconds, runs "hwclock --systohc", reads the clock back and logs it at DBG
 * (ctime() text, so an empty line follows). The checks, in order, each
 * logging ERR "expr[<expression>] false" and ending the call:
 *   1970 < s32year, mon 1..12, mday 1..31, hour 0..23, min 0..59, sec 0..59
 * (the day is not held against the month: 30 February becomes 2 March).
 * The time-set flag turns 1 when s32year is not 2025 AND s32mon is not 1 AND
 * s32mday is not 1 (the caller's fields, not the clock after iOffset).
 * Results: 0 once the record is valid, even if the clock or the hardware
 * clock could not be set; -1 pstDateTime NULL; -2 a field out of range.
 * When mktime() fails or the clock would not fit time_t (a 32-bit time_t
 * from 2038-01-19 03:14:08 on), settimeofday() is not called, so that the
 * clock never takes a wrapped value; "hwclock --systohc" then saves the
 * clock as it is, the read-back line shows it, and the flag and the result
 * 0 follow as usual. */
COMM_API int32_t Zve_Comm_SetDateTime_TimeZone(const hiSYSTEM_TM_S *pstDateTime, int32_t iOffset);

/** Zve_Comm_SetDateTime_TimeZone with the offset 0: 0, -1 or -2. */
COMM_API int32_t Zve_Comm_SetDateTime(const hiSYSTEM_TM_S *pstDateTime);

/** Zve_Comm_SetDateTime of a record made of the six values: 0 or -2. */
COMM_API int32_t Zve_Comm_SetDateTimeEx(int32_t year, int32_t mon, int32_t mday, int32_t hour, int32_t min,
                                        int32_t sec);

/** Sets 1 January 2025, 00:00:00. Never raises the time-set flag, nor
 * clears it. Returns 0. */
COMM_API int32_t Zev_Comm_ResetToDefaultTime(void);

/** Takes the record as a UTC date: sets the clock with the configured zone's
 * offset (read first, so its DBG line comes before a NULL record's ERR line).
 * 0, -1 or -2 as Zve_Comm_SetDateTime_TimeZone. */
COMM_API int32_t Zve_Comm_SetUtcDateTime(const hiSYSTEM_TM_S *pstDateTime);

/** Moves the clock from the old zone's wall time to the new zone's: the clock
 * ends at its old value minus the old offset plus the new one. pZone is
 * stored in "Camera.Menu.TimeZone" first, unchanged (also when it is not in
 * the table, which then counts as 28800), whatever follows. Returns
 * Zve_Comm_SetDateTime's result: 0, or -2 when the derived clock lies in 1970
 * or before. pZone NULL gives -1 and changes nothing. */
COMM_API int32_t Zve_Comm_UpdateTimeZone(const char *pZone);

/** Loads the system clock from the hardware clock ("hwclock --hctosys", also
 * when pstDateTime is NULL), then returns Zev_Comm_GetLocalTime(pstDateTime). */
COMM_API int32_t Zve_Comm_GetRtcTime(hiSYSTEM_TM_S *pstDateTime);

/** Runs "hwclock --hctosys" and returns system()'s status. */
COMM_API int32_t Zev_Comm_UpdateSysTimeFromRtc(void);

/** Runs "hwclock --systohc" and returns system()'s status. */
COMM_API int32_t Zev_Comm_UpdateSysTimeToRtc(void);

/** The time-set flag of this process: 0 at load, 1 once a date with all of
 * year, month and day unlike the default date (2025, January, 1st) has been
 * set. Nothing clears it. */
COMM_API int32_t Zve_Comm_IsTimeSeted(void);

COMM_END_DECLS

#endif /* COMM_DATETIME_H */
