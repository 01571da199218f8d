// SPDX-License-Identifier: MIT
// CRC-8, reflected, generator 0xD5 (0xAB reversed), no final XOR.
//
// Sixteen bytes are folded per round with slicing tables: table k maps a
// byte to its CRC followed by k zero bytes, so a round is sixteen
// independent look-ups. Only the first byte of a round meets the running
// value; the other fifteen look-ups are summed in a tree beside it, so the
// chain from one round to the next is one XOR, one look-up and one XOR.
//
// Long inputs run as two halves side by side, each with its own chain, and
// are joined by linearity: crc(v, A || B) = crc(v, A) * x^(8 |B|) + crc(0, B)
// (mod the generator), the multiplication by x^(8 |B|) taken from a table of
// powers, so the join costs a few dozen operations.
#include <cstring>

#include "comm_digest.h"

namespace comm::crc8 {
namespace {

constexpr unsigned kPoly = 0xABu;     // reflected: bit 7 is x^0, bit 0 is x^7
constexpr int kRound = 16;            // bytes per round, one table each
constexpr uint32_t kTwoHalves = 256;  // from this length on the halves run side by side

struct Tables {
    unsigned char t[kRound][256];
};

constexpr unsigned times_x(unsigned value) { return (value & 1u) ? (value >> 1) ^ kPoly : value >> 1; }

constexpr unsigned char entry(unsigned value) {
    for (int bit = 0; bit < 8; ++bit) value = times_x(value);
    return static_cast<unsigned char>(value);
}

constexpr Tables make_tables() {
    Tables tables{};
    for (unsigned i = 0; i < 256; ++i) tables.t[0][i] = entry(i);
    for (int k = 1; k < kRound; ++k) {
        for (unsigned i = 0; i < 256; ++i) tables.t[k][i] = tables.t[0][tables.t[k - 1][i]];
    }
    return tables;
}

constexpr Tables kTables = make_tables();
static_assert(kTables.t[0][0] == 0x00 && kTables.t[0][1] == 0xF7 && kTables.t[0][2] == 0xB9 &&
              kTables.t[0][128] == 0xAB && kTables.t[0][255] == 0x9F);

// a * b modulo the generator, both in the reflected form.
constexpr unsigned multiply(unsigned a, unsigned b) {
    unsigned product = 0;
    for (unsigned bit = 0x80u; bit != 0; bit >>= 1, b = times_x(b)) {
        if (a & bit) product ^= b;
    }
    return product;
}

// x^(8 * kRound * 2^k): shifting a value over 2^k rounds of zero bytes.
struct Powers {
    unsigned char p[32];
};

constexpr Powers make_powers() {
    Powers powers{};
    unsigned value = 0x80u;  // 1
    for (int i = 0; i < 8 * kRound; ++i) value = times_x(value);
    for (auto &p : powers.p) {
        p = static_cast<unsigned char>(value);
        value = multiply(value, value);
    }
    return powers;
}

constexpr Powers kPowers = make_powers();
static_assert(multiply(kPowers.p[0], 0x5A) == kTables.t[kRound - 1][0x5A] &&
              multiply(kPowers.p[1], 0xC3) == kTables.t[kRound - 1][kTables.t[kRound - 1][0xC3]]);

// value followed by `rounds` rounds of zero bytes.
unsigned shift(unsigned value, uint32_t rounds) {
    for (int k = 0; rounds != 0; ++k, rounds >>= 1) {
        if (rounds & 1u) value = multiply(value, kPowers.p[k]);
    }
    return value;
}

inline uint32_t load32(const unsigned char *p) {
    uint32_t v;
    memcpy(&v, p, sizeof v);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap32(v);
#endif
    return v;
}

// One round: the CRC of the 16 bytes at p from the running value.
inline unsigned round(const unsigned char *p, unsigned value) {
    const auto &t = kTables.t;
    const uint32_t w0 = load32(p), w1 = load32(p + 4), w2 = load32(p + 8), w3 = load32(p + 12);
    const unsigned a = t[14][(w0 >> 8) & 0xFFu] ^ t[13][(w0 >> 16) & 0xFFu] ^ t[12][w0 >> 24];
    const unsigned b =
        t[11][w1 & 0xFFu] ^ t[10][(w1 >> 8) & 0xFFu] ^ t[9][(w1 >> 16) & 0xFFu] ^ t[8][w1 >> 24];
    const unsigned c = t[7][w2 & 0xFFu] ^ t[6][(w2 >> 8) & 0xFFu] ^ t[5][(w2 >> 16) & 0xFFu] ^ t[4][w2 >> 24];
    const unsigned d = t[3][w3 & 0xFFu] ^ t[2][(w3 >> 8) & 0xFFu] ^ t[1][(w3 >> 16) & 0xFFu] ^ t[0][w3 >> 24];
    const unsigned rest = (a ^ b) ^ (c ^ d);
    return t[15][(w0 ^ value) & 0xFFu] ^ rest;
}

unsigned crc(const unsigned char *p, uint32_t len, unsigned value) {
    if (len >= kTwoHalves) {
        const uint32_t half = len / (2 * kRound);  // rounds in each half
        const unsigned char *second = p + half * kRound;
        unsigned other = 0;
        for (uint32_t i = 0; i < half; ++i, p += kRound, second += kRound) {
            value = round(p, value);
            other = round(second, other);
        }
        value = shift(value, half) ^ other;
        p = second;
        len -= 2 * half * kRound;
    }
    for (; len >= kRound; p += kRound, len -= kRound) value = round(p, value);
    while (len-- > 0) value = kTables.t[0][value ^ *p++];
    return value;
}

}  // namespace
}  // namespace comm::crc8

extern "C" {

COMM_API uint32_t Zev_Comm_CheckCrc8(const void *in, uint32_t len, uint32_t start) {
    return comm::crc8::crc(static_cast<const unsigned char *>(in), len, start & 0xFFu);
}

}  // extern "C"
