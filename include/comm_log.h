// SPDX-License-Identifier: MIT
/** @file
 * libcomm diagnostic output: the log line, the print level and hex dumps.
 *
 * Every log line goes to standard output through one printf call, unflushed:
 * @verbatim
   <colour>[<time text> <seconds:%06d>.<tenths>][<TAG>]ESC[m <function> <line> :<message>
   @endverbatim
 * A statement prints when the print level is at least its threshold:
 *
 *   ERR 1 (red)   WAR 2 (bold yellow)   INF 3 (magenta)   DBG 4 (yellow)
 *   DDD 5 (yellow)   VER 6 (no colour)   VVV 7 (no colour)
 *
 * The level starts at 5; 0 or below prints nothing. The running time is read
 * first on every statement, whatever the level; below the threshold nothing
 * else is done (no time text, no argument formatted). Messages carry their
 * own line end ("\n" or "\r\n").
 *
 * Threading: the level and lock words are plain, unguarded words; each
 * thread has its own time text, so lines printed at once by several threads
 * never show each other's.
 *
 * Cost: a silenced statement is one monotonic clock read and one call; a
 * printed one adds the time text, which is made once per second per thread
 * (and at once after a change of TZ or of the system's zone file, see
 * docs/datetime.md), and one printf. Nothing is allocated.
 */
#ifndef COMM_LOG_H
#define COMM_LOG_H

#include <stdint.h>
#include <stdio.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Monotonic clock in tenths of a second, from a millisecond count that wraps
 * at 2^32 ms (it falls from 42949672 to 0 there). Never fails. */
COMM_API uint32_t ZevSysRnuningTime(void);

/** Wall clock in the system zone as "YYMMDD HH:MM:SS" ("%2d%02d%02d ..."),
 * year counted from 2000 (1970 reads -30). Returns the calling thread's
 * 64-byte buffer, which that thread's next call rewrites; do not free it,
 * and copy the text before handing it to a thread that may outlive this
 * one (the buffer ends with its thread). Leaves localtime()'s static
 * struct tm alone. */
COMM_API char *ZevSysRtcTime(void);

/** Stores the lock word. -1 unlocks; any other value locks, and the next
 * Zev_Comm_SetPrintLev then sets the level to 0. The level itself is left
 * unchanged by this call. */
COMM_API void Zev_Comm_SetLockPrintLev(int32_t lock);

/** Sets the print level: 0 while locked, 7 for anything above 6, else the
 * value as given (negative values are kept and silence everything). */
COMM_API void Zev_Comm_SetPrintLev(int32_t level);

/** The print level as stored. */
COMM_API int32_t Zev_Comm_GetPrintLev(void);

/** Hex dump of data[0..len) under "title:\n", 16 bytes a row, ending with
 * CR LF. Prints whatever the level. data must hold at least one byte: the
 * first byte is printed before len is looked at. Returns puts()'s result. */
COMM_API int32_t Zev_Comm_DumpHexEx(const char *title, const void *data, int32_t len);

/** Hex and raw text dump, 16 bytes a row, each row followed by
 * "    |    " and the row's bytes as text (cut at the first zero byte). Same
 * contract as Zev_Comm_DumpHexEx. */
COMM_API int32_t Zev_Comm_DumpHexAndAscii(const char *title, const void *data, int32_t len);

COMM_END_DECLS

/** ---- log statements ---------------------------------------------------- */

#define ZEV_COMM_RESET_SEQ "\033[m"

#define ZEV_COMM_LEV_ERR 1
#define ZEV_COMM_LEV_WAR 2
#define ZEV_COMM_LEV_INF 3
#define ZEV_COMM_LEV_DBG 4
#define ZEV_COMM_LEV_DDD 5
#define ZEV_COMM_LEV_VER 6
#define ZEV_COMM_LEV_VVV 7

#define ZEV_COMM_OPEN_ERR "\033[0;32;31m"
#define ZEV_COMM_OPEN_WAR "\033[1;33m"
#define ZEV_COMM_OPEN_INF "\033[0;35m"
#define ZEV_COMM_OPEN_DBG "\033[0;33m"
#define ZEV_COMM_OPEN_DDD "\033[0;33m"
#define ZEV_COMM_OPEN_VER "\033[m"
#define ZEV_COMM_OPEN_VVV "\033[m"

/**
 * ZEV_COMM_LOG_AS(TAG, name, "format", args...): one log statement with the
 * tag TAG (ERR, WAR, INF, DBG, DDD, VER or VVV) in the name of the function
 * `name`. Use it in a helper that logs on behalf of an exported function;
 * everywhere else use the per-tag statements below, which name the calling
 * function. The format must be a string literal.
 */
#define ZEV_COMM_LOG_AS(TAG, name, fmt, ...)                                                     \
    do {                                                                                         \
        const int zev_iRunTime_ = (int)ZevSysRnuningTime();                                      \
        if (Zev_Comm_GetPrintLev() >= ZEV_COMM_LEV_##TAG) {                                      \
            printf(ZEV_COMM_OPEN_##TAG "[%s %06d.%d][" #TAG "]%s %s %d :" fmt, ZevSysRtcTime(),  \
                   zev_iRunTime_ / 10, zev_iRunTime_ % 10, ZEV_COMM_RESET_SEQ, (name), __LINE__, \
                   ##__VA_ARGS__);                                                               \
        }                                                                                        \
    } while (0)

#define ZEV_COMM_ERR(fmt, ...) ZEV_COMM_LOG_AS(ERR, __func__, fmt, ##__VA_ARGS__)
#define ZEV_COMM_WAR(fmt, ...) ZEV_COMM_LOG_AS(WAR, __func__, fmt, ##__VA_ARGS__)
#define ZEV_COMM_INF(fmt, ...) ZEV_COMM_LOG_AS(INF, __func__, fmt, ##__VA_ARGS__)
#define ZEV_COMM_DBG(fmt, ...) ZEV_COMM_LOG_AS(DBG, __func__, fmt, ##__VA_ARGS__)
#define ZEV_COMM_DDD(fmt, ...) ZEV_COMM_LOG_AS(DDD, __func__, fmt, ##__VA_ARGS__)
#define ZEV_COMM_VER(fmt, ...) ZEV_COMM_LOG_AS(VER, __func__, fmt, ##__VA_ARGS__)
#define ZEV_COMM_VVV(fmt, ...) ZEV_COMM_LOG_AS(VVV, __func__, fmt, ##__VA_ARGS__)

/** ---- argument checks: test, log at ERR, return from the caller --------- */

/** Returns -1 from the calling function when p is null. */
#define ZEV_COMM_CHECK_POINTER(p)                      \
    do {                                               \
        if ((p) == NULL) {                             \
            ZEV_COMM_ERR("pointer[%s] is NULL\n", #p); \
            return -1;                                 \
        }                                              \
    } while (0)

/** Returns -2 from the calling function when e is false; the message shows
 * e's source text. */
#define ZEV_COMM_CHECK_EXPR(e)                    \
    do {                                          \
        if (!(e)) {                               \
            ZEV_COMM_ERR("expr[%s] false\n", #e); \
            return -2;                            \
        }                                         \
    } while (0)

/** True when low <= v <= high; meant to stand inside ZEV_COMM_CHECK_EXPR. */
#define ZEV_COMM_CHECK_RANGE(v, low, high) ((low) <= (v) && (v) <= (high))

#endif /* COMM_LOG_H */
