// CRC-8, reflected, generator 0xD5 (0xAB reversed), no final XOR. Sixteen
// bytes are folded per round with slicing tables: table k maps a byte to
// its CRC followed by k zero bytes, so the round is sixteen independent
// look-ups instead of a chain of sixteen.
#include <cstring>

#include "comm_digest.h"

namespace comm::crc8 {
namespace {

constexpr int kSlices = 16;

struct Tables {
    unsigned char t[kSlices][256];
};

constexpr unsigned char entry(unsigned value) {
    for (int bit = 0; bit < 8; ++bit) value = (value & 1u) ? (value >> 1) ^ 0xABu : value >> 1;
    return static_cast<unsigned char>(value);
}

constexpr Tables make_tables() {
    Tables tables{};
    for (unsigned i = 0; i < 256; ++i) tables.t[0][i] = entry(i);
    for (int k = 1; k < kSlices; ++k) {
        for (unsigned i = 0; i < 256; ++i) tables.t[k][i] = tables.t[0][tables.t[k - 1][i]];
    }
    return tables;
}

constexpr Tables kTables = make_tables();
static_assert(kTables.t[0][0] == 0x00 && kTables.t[0][1] == 0xF7 && kTables.t[0][2] == 0xB9 &&
              kTables.t[0][128] == 0xAB && kTables.t[0][255] == 0x9F);

inline uint64_t load64(const unsigned char *p) {
    uint64_t v;
    memcpy(&v, p, sizeof v);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap64(v);
#endif
    return v;
}

// Byte j of the 8 bytes in v (j = 0 is the first in memory).
inline unsigned byte_of(uint64_t v, int j) { return static_cast<unsigned>(v >> (8 * j)) & 0xFFu; }

unsigned crc(const unsigned char *p, uint32_t len, unsigned value) {
    const auto &t = kTables.t;
    while (len >= kSlices) {
        const uint64_t lo = load64(p) ^ value;
        const uint64_t hi = load64(p + 8);
        unsigned r = 0;
        for (int j = 0; j < 8; ++j) r ^= t[kSlices - 1 - j][byte_of(lo, j)];
        for (int j = 0; j < 8; ++j) r ^= t[7 - j][byte_of(hi, j)];
        value = r;
        p += kSlices;
        len -= kSlices;
    }
    while (len-- > 0) value = t[0][value ^ *p++];
    return value;
}

}  // namespace
}  // namespace comm::crc8

extern "C" {

COMM_API uint32_t Zev_Comm_CheckCrc8(const void *in, uint32_t len, uint32_t start) {
    return comm::crc8::crc(static_cast<const unsigned char *>(in), len, start & 0xFFu);
}

}  // extern "C"
