// SPDX-License-Identifier: MIT
// The line reader on any stream: every line it hands out fits its 256-byte
// buffer and is a copy of the bytes it consumed, and every call that hands
// out a line consumes at least one byte, but for the one empty line that
// notices the end (one byte late), so a stream always comes to an end.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "comm_mtd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FILE *stream = fmemopen(const_cast<uint8_t *>(data), size, "r");
    if (stream == nullptr) return 0;
    long at = 0;
    while (const char *line = Zev_Comm_ReadLine(stream)) {
        const long next = ftell(stream);
        const size_t len = strnlen(line, 256);
        const bool late_end = next == at && len == 0 && static_cast<size_t>(next) == size;
        if (len == 256 || (next <= at && !late_end) || len > static_cast<size_t>(next - at) ||
            memcmp(line, data + at, len) != 0)
            abort();
        if (late_end && Zev_Comm_ReadLine(stream) != nullptr) abort();
        at = next;
    }
    fclose(stream);
    return 0;
}
