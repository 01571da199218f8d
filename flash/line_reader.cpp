// SPDX-License-Identifier: MIT
// The line reader: one static 256-byte buffer, at most 256 bytes consumed
// per call, the end of input noticed one byte late.
#include <cstdio>

#include "comm_mtd.h"

namespace comm {
namespace {

constexpr int kLineSize = 256;

char s_line[kLineSize];

// The end test comes before the read; a stream error counts as its end so
// that a failing stream cannot hand out endless lines of 0xFF bytes.
bool stream_ended(FILE *stream) { return feof(stream) != 0 || ferror(stream) != 0; }

char *read_line(FILE *stream) {
    int count = 0;
    for (;;) {
        if (stream_ended(stream)) {
            if (count == 0) return nullptr;
            --count;  // take back the byte stored by the failed read
            break;
        }
        if (count == kLineSize) {
            count = kLineSize - 1;
            break;
        }
        const int c = getc(stream);
        s_line[count] = static_cast<char>(c & 0xFF);
        if (c == '\n') break;
        ++count;
    }
    s_line[count] = '\0';
    return s_line;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API char *Zev_Comm_ReadLine(FILE *stream) {
    if (stream == nullptr) return nullptr;
    return comm::read_line(stream);
}

}  // extern "C"
