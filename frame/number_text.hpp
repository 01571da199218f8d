// SPDX-License-Identifier: MIT
// Reading number texts the way the camera's C library does.
//
// Its long is 32 bits: strtol() and strtoul(), which atoi() and sscanf()'s
// "%d" and "%x" are made of, stop at the end of the 32-bit range. A C library
// with a 64-bit long keeps the low 32 bits of the same text instead (atoi of
// "4294967297" is 1 there, 2147483647 on the camera). Reading through these
// keeps the PC build's results those of the camera.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdlib>

namespace comm {

inline int32_t clamp_int32(long long v) {
    return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : static_cast<int32_t>(v);
}

// atoi().
inline int32_t atoi32(const char *text) { return clamp_int32(strtoll(text, nullptr, 10)); }

// sscanf()'s "%x" into an unsigned int, at the number's first character
// (blanks skipped): past 32 bits 0xffffffff; a minus sign negates within 32
// bits; no hexadecimal digit gives 0 (the scan fails, the value stays 0).
inline uint32_t hex32(const char *text) {
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    if (!isxdigit(static_cast<unsigned char>(*text))) return 0;
    const unsigned long long v = strtoull(text, nullptr, 16);
    if (v > UINT32_MAX) return UINT32_MAX;
    const uint32_t low = static_cast<uint32_t>(v);
    return negative ? 0u - low : low;
}

}  // namespace comm
