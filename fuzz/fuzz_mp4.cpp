// SPDX-License-Identifier: MIT
// The recording header probe on any file, checked against the header block
// itself: too short leaves the outputs alone, no "mvhd" sets all three to
// 0xFFFFFFFF, and otherwise they are the big-endian words at 4128, 4140
// and 4144.
#include <cstdlib>
#include <cstring>

#include "comm_log.h"
#include "comm_record.h"
#include "fake_files.hpp"

namespace {
uint32_t word_at(const uint8_t *data, size_t at) {
    return uint32_t{data[at]} << 24 | uint32_t{data[at + 1]} << 16 | uint32_t{data[at + 2]} << 8 |
           data[at + 3];
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool quiet = (Zev_Comm_SetPrintLev(0), true);
    (void)quiet;
    fuzz::set_file("/fuzz/in.mp4", data, size);
    constexpr uint32_t kUnset = 0x5EED5EED;
    uint32_t out[3] = {kUnset, kUnset, kUnset};
    const int32_t r = Zev_Comm_GetFileDurationMsAndFps("/fuzz/in.mp4", &out[0], &out[1], &out[2]);
    uint32_t want[3] = {kUnset, kUnset, kUnset};
    int32_t want_r = -6;
    if (size >= 4148) {
        want_r = memcmp(data + 4108, "mvhd", 4) == 0 ? 0 : -7;
        for (int i = 0; i < 3; ++i)
            want[i] = want_r == 0 ? word_at(data, i == 0 ? 4128 : 4136 + 4 * i) : 0xFFFFFFFF;
    }
    if (r != want_r || memcmp(out, want, sizeof out) != 0) abort();
    return 0;
}
