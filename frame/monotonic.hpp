// SPDX-License-Identifier: MIT
// The monotonic millisecond count that the running time and the boot clocks
// share: 32-bit, wrapping at 2^32 ms.
#pragma once

#include <cstdint>
#include <ctime>

namespace comm {

inline struct timespec monotonic_now() {
    struct timespec ts {};
    (void)clock_gettime(CLOCK_MONOTONIC, &ts);  // on failure the zeroes stand
    return ts;
}

inline uint32_t boot_ms() {
    const struct timespec ts = monotonic_now();
    return static_cast<uint32_t>(ts.tv_sec) * 1000u + static_cast<uint32_t>(ts.tv_nsec / 1000000);
}

}  // namespace comm
