// SPDX-License-Identifier: MIT
// MD5 in both forms against RFC 1321's suite and an independent bit-level
// reference (constants derived from the sine function, not copied); CRC-8
// against the values of its table rule and a bit-at-a-time reference.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "comm_digest.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string hex(const unsigned char *d) {
    char text[33];
    for (int i = 0; i < 16; ++i) snprintf(text + 2 * i, 3, "%02x", d[i]);
    return text;
}

// A plain reading of RFC 1321: padding by bytes, constants from sin().
std::string reference_md5(Bytes m) {
    static const int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    static const int step[4] = {1, 5, 3, 7}, first[4] = {0, 1, 5, 0};  // message word of step i
    const uint64_t bits = static_cast<uint64_t>(m.size()) * 8;
    m.push_back(0x80);
    while (m.size() % 64 != 56) m.push_back(0);
    for (int i = 0; i < 8; ++i) m.push_back(static_cast<unsigned char>(bits >> (8 * i)));
    uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    for (size_t off = 0; off < m.size(); off += 64) {
        uint32_t w[16] = {}, a = h[0], b = h[1], c = h[2], d = h[3];
        for (int i = 0; i < 64; ++i) w[i / 4] |= static_cast<uint32_t>(m[off + i]) << (8 * (i % 4));
        for (int i = 0, r = 0; i < 64; r = ++i / 16) {
            const uint32_t f[4] = {(b & c) | (~b & d), (d & b) | (~d & c), b ^ c ^ d, c ^ (b | ~d)};
            const uint32_t k = static_cast<uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
            const uint32_t sum = a + f[r] + k + w[(step[r] * i + first[r]) % 16];
            std::tie(a, b, c, d) = std::make_tuple(d, b + std::rotl(sum, shifts[r][i % 4]), b, c);
        }
        h[0] += a, h[1] += b, h[2] += c, h[3] += d;
    }
    unsigned char out[16];
    for (int i = 0; i < 16; ++i) out[i] = static_cast<unsigned char>(h[i / 4] >> (8 * (i % 4)));
    return hex(out);
}

// The streaming form with the input cut at the given positions.
std::string streamed(const Bytes &m, const std::vector<size_t> &cuts) {
    MD5Context ctx;
    MD5Init(&ctx);
    size_t from = 0;
    for (size_t cut : cuts) {
        MD5Update(&ctx, m.data() + from, static_cast<uint32_t>(cut - from));
        from = cut;
    }
    MD5Update(&ctx, m.data() + from, static_cast<uint32_t>(m.size() - from));
    unsigned char d[16];
    MD5Final(d, &ctx);
    return hex(d);
}

// Both text forms write 32 characters and no terminator into 48 'Z's.
std::string text_form(const Bytes &m, bool streaming) {
    char text[48];
    memset(text, 'Z', sizeof text);
    MD5Context ctx;
    MD5Init(&ctx), MD5Update(&ctx, m.data(), static_cast<uint32_t>(m.size()));
    streaming ? MD5FinalString(text, &ctx) : dir_md5_string(text, m.data(), static_cast<uint32_t>(m.size()));
    return std::string(text, sizeof text);
}

std::string one_call(const unsigned char *p, size_t n) {
    unsigned char d[16];
    dir_md5_digest(d, p, static_cast<uint32_t>(n));
    return hex(d);
}

Bytes pattern(size_t n, uint32_t x) {
    Bytes b(n);
    for (auto &c : b) c = static_cast<unsigned char>((x = x * 1103515245u + 12345u) >> 16);
    return b;
}

TEST(Md5, Rfc1321Suite) {
    // clang-format off
    const struct { const char *input; const char *digest; } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"}, {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"}, {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890", "57edf4a22be3c955ac49da2e2107b67a"}};
    // clang-format on
    for (const auto &c : cases) {
        const Bytes m(c.input, c.input + strlen(c.input));
        EXPECT_EQ(reference_md5(m), c.digest) << "reference: " << c.input;
        const std::string z = std::string(c.digest) + std::string(16, 'Z');
        EXPECT_EQ(std::make_tuple(one_call(m.data(), m.size()), streamed(m, {}), text_form(m, false),
                                  text_form(m, true)),
                  std::make_tuple(c.digest, c.digest, z, z))
            << c.input;
    }
}

TEST(Md5, EveryLengthAndSplitAgreesWithTheReference) {
    for (size_t n = 0; n <= 200; ++n) {
        const Bytes m = pattern(n, static_cast<uint32_t>(n) + 7);
        const std::string want = reference_md5(m);
        std::vector<size_t> bytewise;
        for (size_t i = 1; i < n; ++i) bytewise.push_back(i);
        ASSERT_EQ(one_call(m.data(), n), want) << n;
        ASSERT_EQ(streamed(m, {}), want) << n;
        ASSERT_EQ(streamed(m, bytewise), want) << "byte by byte, " << n;
    }
    const Bytes m = pattern(200, 99);
    const std::string want = reference_md5(m);
    for (size_t a = 0; a <= m.size(); ++a) {
        ASSERT_EQ(streamed(m, {a}), want) << a;
        for (size_t b : {a + 1, a + 55, a + 64, a + 129})
            ASSERT_EQ(streamed(m, {a, std::min(b, m.size())}), want) << a << "," << b;
    }
    // Whole blocks are read straight from the caller's memory, at any alignment.
    for (size_t shift = 1; shift < 8; ++shift)
        EXPECT_EQ(one_call(m.data() + shift, 150), reference_md5(Bytes(&m[shift], &m[shift + 150]))) << shift;
}

TEST(Md5, EdgesOfTheInterface) {
    // Finishing wipes the context; a length of 0 does not read the pointer.
    MD5Context ctx, zero;
    memset(&zero, 0, sizeof zero);
    MD5Init(&ctx);
    MD5Update(&ctx, nullptr, 0);
    unsigned char d[16];
    MD5Final(d, &ctx);
    EXPECT_EQ(hex(d), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(memcmp(&ctx, &zero, sizeof ctx), 0);
    EXPECT_EQ(one_call(nullptr, 0), "d41d8cd98f00b204e9800998ecf8427e");
    // The self test prints the digest of "hello" in upper case on stderr.
    testing::internal::CaptureStderr();
    EXPECT_EQ(DirMd5Test(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "5D41402ABC4B2A76B9719D911017C592\n");
}

// Bit by bit, least significant bit first, polynomial 0xD5 reflected (0xAB).
unsigned reference_crc(const unsigned char *p, size_t n, unsigned crc) {
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int b = 0; b < 8; ++b) crc = (crc & 1) ? (crc >> 1) ^ 0xAB : crc >> 1;
    }
    return crc;
}

TEST(Crc8, KnownValues) {
    const unsigned char one = 0x01, two = 0x02, high = 0x80, all = 0xFF;
    // clang-format off
    const struct { const void *in; uint32_t len, start, crc; } cases[] = {
        {"123456789", 9, 0x00, 0x7C}, {"123456789", 9, 0xFF, 0x7F},
        {&one, 1, 0, 0xF7}, {&two, 1, 0, 0xB9}, {&high, 1, 0, 0xAB}, {&all, 1, 0, 0x9F},  // table entries 1, 2, 128, 255
        {&all, 1, 0xFF, 0x00},  // entry 0
        {nullptr, 0, 0xC3, 0xC3}, {nullptr, 0, 0x1A5, 0xA5},  // length 0 does not read the pointer
        {"123456789", 9, 0x100, 0x7C}, {"123456789", 9, 0xFFFFFFFF, 0x7F},  // only the start's low 8 bits count
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(Zev_Comm_CheckCrc8(c.in, c.len, c.start), c.crc) << c.len << " from " << c.start;
}

TEST(Crc8, AgreesWithTheReferenceAtEveryLengthAndAlignment) {
    const Bytes data = pattern(310, 2463534242u);
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t n = 0; n + offset <= 300; ++n) {
            for (unsigned start : {0u, 0x5Au, 0xFFu}) {
                const unsigned char *p = data.data() + offset;
                ASSERT_EQ(Zev_Comm_CheckCrc8(p, static_cast<uint32_t>(n), start), reference_crc(p, n, start))
                    << "offset " << offset << " length " << n << " start " << start;
                // Pieces chain through the start value.
                const uint32_t head = Zev_Comm_CheckCrc8(p, static_cast<uint32_t>(n / 3), start);
                ASSERT_EQ(Zev_Comm_CheckCrc8(p + n / 3, static_cast<uint32_t>(n - n / 3), head),
                          reference_crc(p, n, start));
            }
        }
    }
}

// Long inputs run as two halves joined by a shift: lengths just under, at
// and past the length where the halves start, odd and even round counts,
// tails of 0..31 bytes, unaligned starts, and every start value.
TEST(Crc8, TwoHalvesAgreeWithTheReference) {
    const Bytes data = pattern(70000, 88172645u);
    const std::pair<size_t, size_t> cases[] = {
        {0, 255},       {0, 256},       {1, 256},   {3, 257},        {0, 271},
        {5, 287},       {0, 288},       {7, 319},   {2, 320},        {0, 4096},
        {1, 4096 + 31}, {3, 4096 + 16}, {0, 65536}, {6, 65536 + 17}, {1, 69999},
    };
    for (const auto &[offset, length] : cases) {
        const unsigned char *p = data.data() + offset;
        for (unsigned start = 0; start < 256; start += (length < 1000 ? 1 : 51))
            ASSERT_EQ(Zev_Comm_CheckCrc8(p, static_cast<uint32_t>(length), start),
                      reference_crc(p, length, start))
                << "offset " << offset << " length " << length << " start " << start;
    }
}

}  // namespace
