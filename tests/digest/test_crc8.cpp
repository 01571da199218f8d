// CRC-8 against the values of its table rule and a bit-at-a-time reference,
// across the 16-byte rounds of the sliced loop.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "comm_digest.h"

namespace {

// Bit by bit, least significant bit first, polynomial 0xD5 reflected (0xAB).
unsigned reference_crc(const unsigned char *p, size_t n, unsigned crc) {
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int b = 0; b < 8; ++b) crc = (crc & 1) ? (crc >> 1) ^ 0xAB : crc >> 1;
    }
    return crc;
}

std::vector<unsigned char> pattern(size_t n) {
    std::vector<unsigned char> b(n);
    uint32_t x = 2463534242u;
    for (auto &c : b) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = static_cast<unsigned char>(x);
    }
    return b;
}

TEST(Crc8, KnownValues) {
    const unsigned char one = 0x01, two = 0x02, high = 0x80, all = 0xFF;
    const struct {
        const void *in;
        uint32_t len;
        uint32_t start;
        uint32_t crc;
    } cases[] = {
        {"123456789", 9, 0x00, 0x7C},
        {"123456789", 9, 0xFF, 0x7F},
        {&one, 1, 0, 0xF7},  // table entries 1, 2, 128 and 255
        {&two, 1, 0, 0xB9},
        {&high, 1, 0, 0xAB},
        {&all, 1, 0, 0x9F},
        {&all, 1, 0xFF, 0x00},  // entry 0
        {"", 0, 0x5A, 0x5A},
        {nullptr, 0, 0xC3, 0xC3},  // length 0 does not read the pointer
        {"123456789", 9, 0x100, 0x7C},  // only the low 8 bits of the start count
        {"123456789", 9, 0xFFFFFFFF, 0x7F},
        {nullptr, 0, 0x1A5, 0xA5},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Zev_Comm_CheckCrc8(c.in, c.len, c.start), c.crc) << c.len << " from " << c.start;
    }
}

TEST(Crc8, AgreesWithBitwiseReferenceAtEveryLengthAndAlignment) {
    const auto data = pattern(600);
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t n = 0; n + offset <= 300; ++n) {
            for (unsigned start : {0u, 0x5Au, 0xFFu}) {
                ASSERT_EQ(Zev_Comm_CheckCrc8(data.data() + offset, static_cast<uint32_t>(n), start),
                          reference_crc(data.data() + offset, n, start))
                    << "offset " << offset << " length " << n << " start " << start;
            }
        }
    }
}

TEST(Crc8, PiecesChainThroughTheStartValue) {
    const auto data = pattern(257);
    const uint32_t whole = Zev_Comm_CheckCrc8(data.data(), 257, 0x33);
    for (uint32_t cut = 0; cut <= 257; ++cut) {
        const uint32_t first = Zev_Comm_CheckCrc8(data.data(), cut, 0x33);
        EXPECT_EQ(Zev_Comm_CheckCrc8(data.data() + cut, 257 - cut, first), whole) << cut;
    }
}

}  // namespace
