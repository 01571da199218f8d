// SPDX-License-Identifier: MIT
// The log line's own pieces: running time, time text, print level, dumps.
#include <cstring>
#include <ctime>

#include "comm_log.h"
#include "frame/local_time.hpp"
#include "frame/monotonic.hpp"

namespace {

int32_t s_iPrintLev = 5;
int32_t s_iLockPrintLev = -1;
constexpr size_t kRtcTimeSize = 64;

// The text handed out, one per thread: a caller may write into it, so the
// text kept for the current second lives beside it and is copied over.
thread_local char s_szRtcTime[kRtcTimeSize];

struct RtcTextCache {
    uint32_t serial;  // of the local time the text was made from; 0: none
    size_t len;
    char text[kRtcTimeSize];
};
thread_local RtcTextCache t_rtc_text;

constexpr int kDumpRow = 16;

}  // namespace

extern "C" {

COMM_API uint32_t ZevSysRnuningTime(void) { return comm::boot_ms() / 100u; }

COMM_API char *ZevSysRtcTime(void) {
    uint32_t serial = 0;
    const struct tm *tm = comm::local_now(time(nullptr), serial);
    RtcTextCache &c = t_rtc_text;
    if (tm == nullptr) {
        c.serial = 0;
        s_szRtcTime[0] = '\0';
        return s_szRtcTime;
    }
    if (c.serial != serial) {
        const int n = snprintf(c.text, sizeof c.text, "%2d%02d%02d %02d:%02d:%02d", tm->tm_year - 100,
                               tm->tm_mon + 1, tm->tm_mday, tm->tm_hour, tm->tm_min, tm->tm_sec);
        c.len =
            n < 0 ? 0 : (static_cast<size_t>(n) < sizeof c.text ? static_cast<size_t>(n) : sizeof c.text - 1);
        c.text[c.len] = '\0';
        c.serial = serial;
    }
    memcpy(s_szRtcTime, c.text, c.len + 1);
    return s_szRtcTime;
}

COMM_API void Zev_Comm_SetLockPrintLev(int32_t lock) { s_iLockPrintLev = lock; }

COMM_API void Zev_Comm_SetPrintLev(int32_t level) {
    if (s_iLockPrintLev != -1) {
        s_iPrintLev = 0;
    } else if (level > 6) {
        s_iPrintLev = 7;
    } else {
        s_iPrintLev = level;
    }
}

COMM_API int32_t Zev_Comm_GetPrintLev(void) { return s_iPrintLev; }

COMM_API int32_t Zev_Comm_DumpHexEx(const char *title, const void *data, int32_t len) {
    const auto *bytes = static_cast<const unsigned char *>(data);
    printf("%s:\n", title);
    int32_t i = 0;
    do {
        printf(" %02x", bytes[i]);
        ++i;
        if (i % kDumpRow == 0) putchar('\n');
    } while (i < len);
    return puts("\r");
}

COMM_API int32_t Zev_Comm_DumpHexAndAscii(const char *title, const void *data, int32_t len) {
    const auto *bytes = static_cast<const unsigned char *>(data);
    char text[kDumpRow + 1];
    printf("%s:\n", title);
    int32_t i = 0;
    int in_row = 0;
    memset(text, 0, sizeof text);
    do {
        printf(" %02x", bytes[i]);
        text[in_row++] = static_cast<char>(bytes[i]);
        ++i;
        if (in_row == kDumpRow) {
            printf("    |    %s\n", text);
            memset(text, 0, sizeof text);
            in_row = 0;
        }
    } while (i < len);
    if (in_row != 0) {
        for (int pad = in_row; pad < kDumpRow; ++pad) printf("   ");
        printf("    |    %s\n", text);
    }
    return puts("\r");
}

}  // extern "C"
