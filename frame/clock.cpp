// SPDX-License-Identifier: MIT
// Boot-relative and wall clocks.
#include <cstdio>
#include <ctime>

#include "comm_clock.h"
#include "frame/local_time.hpp"
#include "frame/monotonic.hpp"

namespace {
constexpr size_t kRtcTextSize = 16;  // "YYYYMMDD-HHMMSS" and its terminator
}

extern "C" {

COMM_API uint32_t Zev_Comm_GetBootMs(void) { return comm::boot_ms(); }

COMM_API uint32_t Zev_Comm_GetBoot100Ms(void) { return comm::boot_ms() / 100u; }

COMM_API int32_t Zev_GetSysBootSec(void) { return static_cast<int32_t>(comm::monotonic_now().tv_sec); }

COMM_API int32_t ZevSysFormatRtcTime(char *dst) {
    uint32_t serial = 0;
    const struct tm *tm = comm::local_now(time(nullptr), serial);
    if (tm == nullptr) {
        dst[0] = '\0';
        return 0;
    }
    const int n = snprintf(dst, kRtcTextSize, "%4d%02d%02d-%02d%02d%02d", tm->tm_year + 1900, tm->tm_mon + 1,
                           tm->tm_mday, tm->tm_hour, tm->tm_min, tm->tm_sec);
    if (n < 0) return 0;
    return n < static_cast<int>(kRtcTextSize) ? n : static_cast<int>(kRtcTextSize) - 1;
}

COMM_API int32_t ZevGetRtcSeconds(void) { return static_cast<int32_t>(time(nullptr)); }

}  // extern "C"
