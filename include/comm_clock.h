// SPDX-License-Identifier: MIT
/** @file
 * libcomm boot and wall clocks. No state, no log output, callable from any
 * thread at any time. "Rtc" in these names is the kernel's wall clock; the
 * hardware clock is never read here and the configured zone is not applied.
 */
#ifndef COMM_CLOCK_H
#define COMM_CLOCK_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Milliseconds of the monotonic clock in 32-bit arithmetic: wraps to 0 after
 * 4294967296 ms (49 days 17:02:47.296). Differences taken as uint32_t stay
 * right across the wrap. */
COMM_API uint32_t Zev_Comm_GetBootMs(void);

/** The same wrapped millisecond count divided by 100: falls from 42949672 to
 * 0 at the wrap, so differences across it are wrong. */
COMM_API uint32_t Zev_Comm_GetBoot100Ms(void);

/** Whole seconds of the monotonic clock. */
COMM_API int32_t Zev_GetSysBootSec(void);

/** Writes the wall clock in the system zone as "YYYYMMDD-HHMMSS" (15
 * characters and a terminator) into dst, which must hold 16 bytes; dst is
 * not tested for NULL. Returns the number of characters written. A year
 * beyond 9999 would need more room: the text is then cut to fit 16 bytes
 * and the result is 15. */
COMM_API int32_t ZevSysFormatRtcTime(char *dst);

/** Seconds since the Epoch by the system clock (time(NULL)). A clock after
 * 2038-01-19 03:14:07, which only a 64-bit time_t holds, gives the low 32
 * bits. */
COMM_API int32_t ZevGetRtcSeconds(void);

COMM_END_DECLS

#endif /* COMM_CLOCK_H */
