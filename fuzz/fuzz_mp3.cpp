// SPDX-License-Identifier: MIT
// Zev_Mp3Decode on any file. The first three bytes choose the capacity (up
// to 192 KiB) and whether the buffer starts at an even or an odd address;
// the buffer is exactly that large (AddressSanitizer watches its end), and
// a canary fills it, so that anything written behind the result is seen.
#include <cstdlib>
#include <cstring>

#include "comm_log.h"
#include "comm_mp3.h"
#include "fake_files.hpp"

namespace {
constexpr uint8_t kCanary = 0xA5;

// Left out of the coverage counters: a compare per byte of a large buffer
// would cost more than the decoding.
__attribute__((no_sanitize("coverage"))) bool untouched(const uint8_t *p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != kCanary) return false;
    }
    return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool quiet = (Zev_Comm_SetPrintLev(0), true);
    (void)quiet;
    if (size < 3) return 0;
    const size_t at = data[0] & 1;
    const int32_t capacity = 1 + ((data[1] | data[2] << 8) * 3) % (192 * 1024);
    fuzz::set_file("/fuzz/in.mp3", data + 3, size - 3);
    const size_t n = at + static_cast<size_t>(capacity);
    auto *buf = static_cast<uint8_t *>(malloc(n));
    memset(buf, kCanary, n);
    const int32_t got = Zev_Mp3Decode("/fuzz/in.mp3", buf + at, capacity);
    if (got < 0 || got > capacity || (got % 2 != 0 && got != capacity)) abort();  // only a cut ends oddly
    if (!untouched(buf + at + got, static_cast<size_t>(capacity - got))) abort();
    free(buf);
    return 0;
}
