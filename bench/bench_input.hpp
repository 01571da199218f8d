// SPDX-License-Identifier: MIT
// Input bytes for the digest and count programs: the same pseudo-random
// sequence in every run, so that figures compare.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

inline std::vector<unsigned char> bench_input(size_t n) {
    std::vector<unsigned char> v(n);
    uint32_t x = 12345;
    for (auto &c : v) {
        x = x * 1664525u + 1013904223u;
        c = static_cast<unsigned char>(x >> 24);
    }
    return v;
}
