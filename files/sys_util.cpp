// SPDX-License-Identifier: MIT
// A random number from the monotonic clock, and the digit test.
#include <cstdlib>
#include <ctime>

#include "comm_log.h"
#include "comm_sys.h"
#include "frame/monotonic.hpp"

namespace comm {
namespace {

// Two rand() values added in 32 bits (wrapping), shifted right by 8 as a
// signed word (a sum with the top bit set stays negative), then reduced
// modulo 100000000 as an unsigned word.
uint32_t fold_random(uint32_t a, uint32_t b) {
    const uint32_t sum = a + b;
    const int32_t shifted = static_cast<int32_t>(sum) >> 8;
    return static_cast<uint32_t>(shifted) % 100000000u;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_Rand(void) {
    const struct timespec ts = comm::monotonic_now();
    srand(static_cast<unsigned>(ts.tv_nsec));
    const uint32_t a = static_cast<uint32_t>(rand());
    const uint32_t b = static_cast<uint32_t>(rand());
    const int32_t result = static_cast<int32_t>(comm::fold_random(a, b));
    ZEV_COMM_DBG("t=%x, rand=%d\n", static_cast<unsigned>(ts.tv_nsec), result);
    return result;
}

COMM_API int32_t Zev_Comm_IsNumber(int32_t c) { return static_cast<uint32_t>(c) - 48u <= 9u ? 1 : 0; }

}  // extern "C"
