// SPDX-License-Identifier: MIT
// MD5 compression function, 64 steps in straight line. The boolean
// functions are written in the forms that shorten the dependency chain on
// the newest word b: F as d ^ (b & (c ^ d)), G as (~d & c) + (d & b) whose
// first term does not wait for b, and the constant plus message word are
// added before the chained value is available.
#include "digest/md5_transform.hpp"

#include <cstring>

namespace comm::md5 {
namespace {

#define COMM_MD5_INLINE inline __attribute__((always_inline))

COMM_MD5_INLINE uint32_t rotl(uint32_t x, int s) { return (x << s) | (x >> (32 - s)); }

COMM_MD5_INLINE uint32_t load_le32(const unsigned char *p) {
    uint32_t v;
    memcpy(&v, p, sizeof v);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap32(v);
#endif
    return v;
}

template <int S>
COMM_MD5_INLINE void step_f(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t xk) {
    a += xk + (d ^ (b & (c ^ d)));
    a = rotl(a, S) + b;
}
template <int S>
COMM_MD5_INLINE void step_g(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t xk) {
    a += xk + (~d & c);
    a += d & b;
    a = rotl(a, S) + b;
}
template <int S>
COMM_MD5_INLINE void step_h(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t xk) {
    a += xk + (b ^ c ^ d);
    a = rotl(a, S) + b;
}
template <int S>
COMM_MD5_INLINE void step_i(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t xk) {
    a += xk + (c ^ (b | ~d));
    a = rotl(a, S) + b;
}

COMM_MD5_INLINE void block(uint32_t state[4], const unsigned char *p) {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i) x[i] = load_le32(p + 4 * i);
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

    step_f<7>(a, b, c, d, x[0] + 0xd76aa478u);
    step_f<12>(d, a, b, c, x[1] + 0xe8c7b756u);
    step_f<17>(c, d, a, b, x[2] + 0x242070dbu);
    step_f<22>(b, c, d, a, x[3] + 0xc1bdceeeu);
    step_f<7>(a, b, c, d, x[4] + 0xf57c0fafu);
    step_f<12>(d, a, b, c, x[5] + 0x4787c62au);
    step_f<17>(c, d, a, b, x[6] + 0xa8304613u);
    step_f<22>(b, c, d, a, x[7] + 0xfd469501u);
    step_f<7>(a, b, c, d, x[8] + 0x698098d8u);
    step_f<12>(d, a, b, c, x[9] + 0x8b44f7afu);
    step_f<17>(c, d, a, b, x[10] + 0xffff5bb1u);
    step_f<22>(b, c, d, a, x[11] + 0x895cd7beu);
    step_f<7>(a, b, c, d, x[12] + 0x6b901122u);
    step_f<12>(d, a, b, c, x[13] + 0xfd987193u);
    step_f<17>(c, d, a, b, x[14] + 0xa679438eu);
    step_f<22>(b, c, d, a, x[15] + 0x49b40821u);

    step_g<5>(a, b, c, d, x[1] + 0xf61e2562u);
    step_g<9>(d, a, b, c, x[6] + 0xc040b340u);
    step_g<14>(c, d, a, b, x[11] + 0x265e5a51u);
    step_g<20>(b, c, d, a, x[0] + 0xe9b6c7aau);
    step_g<5>(a, b, c, d, x[5] + 0xd62f105du);
    step_g<9>(d, a, b, c, x[10] + 0x02441453u);
    step_g<14>(c, d, a, b, x[15] + 0xd8a1e681u);
    step_g<20>(b, c, d, a, x[4] + 0xe7d3fbc8u);
    step_g<5>(a, b, c, d, x[9] + 0x21e1cde6u);
    step_g<9>(d, a, b, c, x[14] + 0xc33707d6u);
    step_g<14>(c, d, a, b, x[3] + 0xf4d50d87u);
    step_g<20>(b, c, d, a, x[8] + 0x455a14edu);
    step_g<5>(a, b, c, d, x[13] + 0xa9e3e905u);
    step_g<9>(d, a, b, c, x[2] + 0xfcefa3f8u);
    step_g<14>(c, d, a, b, x[7] + 0x676f02d9u);
    step_g<20>(b, c, d, a, x[12] + 0x8d2a4c8au);

    step_h<4>(a, b, c, d, x[5] + 0xfffa3942u);
    step_h<11>(d, a, b, c, x[8] + 0x8771f681u);
    step_h<16>(c, d, a, b, x[11] + 0x6d9d6122u);
    step_h<23>(b, c, d, a, x[14] + 0xfde5380cu);
    step_h<4>(a, b, c, d, x[1] + 0xa4beea44u);
    step_h<11>(d, a, b, c, x[4] + 0x4bdecfa9u);
    step_h<16>(c, d, a, b, x[7] + 0xf6bb4b60u);
    step_h<23>(b, c, d, a, x[10] + 0xbebfbc70u);
    step_h<4>(a, b, c, d, x[13] + 0x289b7ec6u);
    step_h<11>(d, a, b, c, x[0] + 0xeaa127fau);
    step_h<16>(c, d, a, b, x[3] + 0xd4ef3085u);
    step_h<23>(b, c, d, a, x[6] + 0x04881d05u);
    step_h<4>(a, b, c, d, x[9] + 0xd9d4d039u);
    step_h<11>(d, a, b, c, x[12] + 0xe6db99e5u);
    step_h<16>(c, d, a, b, x[15] + 0x1fa27cf8u);
    step_h<23>(b, c, d, a, x[2] + 0xc4ac5665u);

    step_i<6>(a, b, c, d, x[0] + 0xf4292244u);
    step_i<10>(d, a, b, c, x[7] + 0x432aff97u);
    step_i<15>(c, d, a, b, x[14] + 0xab9423a7u);
    step_i<21>(b, c, d, a, x[5] + 0xfc93a039u);
    step_i<6>(a, b, c, d, x[12] + 0x655b59c3u);
    step_i<10>(d, a, b, c, x[3] + 0x8f0ccc92u);
    step_i<15>(c, d, a, b, x[10] + 0xffeff47du);
    step_i<21>(b, c, d, a, x[1] + 0x85845dd1u);
    step_i<6>(a, b, c, d, x[8] + 0x6fa87e4fu);
    step_i<10>(d, a, b, c, x[15] + 0xfe2ce6e0u);
    step_i<15>(c, d, a, b, x[6] + 0xa3014314u);
    step_i<21>(b, c, d, a, x[13] + 0x4e0811a1u);
    step_i<6>(a, b, c, d, x[4] + 0xf7537e82u);
    step_i<10>(d, a, b, c, x[11] + 0xbd3af235u);
    step_i<15>(c, d, a, b, x[2] + 0x2ad7d2bbu);
    step_i<21>(b, c, d, a, x[9] + 0xeb86d391u);

    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

#undef COMM_MD5_INLINE

}  // namespace

void transform(uint32_t state[4], const unsigned char *data, size_t blocks) {
    for (size_t i = 0; i < blocks; ++i) block(state, data + i * kBlockSize);
}

void store_digest(unsigned char out[16], const uint32_t state[4]) {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) out[4 * i + j] = static_cast<unsigned char>(state[i] >> (8 * j));
    }
}

void digest_text(char out[32], const unsigned char digest[16]) {
    static constexpr char kHex[] = "0123456789abcdef";
    for (int i = 0; i < 16; ++i) {
        out[2 * i] = kHex[digest[i] >> 4];
        out[2 * i + 1] = kHex[digest[i] & 0x0F];
    }
}

}  // namespace comm::md5
