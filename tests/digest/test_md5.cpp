// MD5 in both forms against RFC 1321's suite and an independent bit-level
// reference (constants derived from the sine function, not copied).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "comm_digest.h"
#include "tempdir.hpp"

namespace {

using Bytes = std::vector<unsigned char>;

// A plain reading of RFC 1321: padding by bytes, constants from sin().
std::string reference_md5(const Bytes &msg) {
    static const int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    uint32_t k[64];
    for (int i = 0; i < 64; ++i) k[i] = static_cast<uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
    Bytes m = msg;
    const uint64_t bits = static_cast<uint64_t>(msg.size()) * 8;
    m.push_back(0x80);
    while (m.size() % 64 != 56) m.push_back(0);
    for (int i = 0; i < 8; ++i) m.push_back(static_cast<unsigned char>(bits >> (8 * i)));
    uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    for (size_t off = 0; off < m.size(); off += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) {
            w[i] = 0;
            for (int j = 3; j >= 0; --j) w[i] = (w[i] << 8) | m[off + 4 * i + j];
        }
        uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
        for (int i = 0; i < 64; ++i) {
            const int round = i / 16;
            uint32_t f;
            int g;
            if (round == 0) { f = (b & c) | (~b & d); g = i; }
            else if (round == 1) { f = (d & b) | (~d & c); g = (5 * i + 1) % 16; }
            else if (round == 2) { f = b ^ c ^ d; g = (3 * i + 5) % 16; }
            else { f = c ^ (b | ~d); g = (7 * i) % 16; }
            const uint32_t sum = a + f + k[i] + w[g];
            const int s = shifts[round][i % 4];
            a = d;
            d = c;
            c = b;
            b = b + ((sum << s) | (sum >> (32 - s)));
        }
        h[0] += a; h[1] += b; h[2] += c; h[3] += d;
    }
    char text[33];
    for (int i = 0; i < 16; ++i) snprintf(text + 2 * i, 3, "%02x", (h[i / 4] >> (8 * (i % 4))) & 0xFF);
    return text;
}

std::string hex(const unsigned char *d) {
    char text[33];
    for (int i = 0; i < 16; ++i) snprintf(text + 2 * i, 3, "%02x", d[i]);
    return text;
}

std::string one_call(const Bytes &m) {
    unsigned char d[16];
    dir_md5_digest(d, m.data(), static_cast<uint32_t>(m.size()));
    return hex(d);
}

std::string one_call_text(const Bytes &m) {
    char text[48] = {};
    dir_md5_string(text, m.data(), static_cast<uint32_t>(m.size()));
    return text;
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

Bytes pattern(size_t n, unsigned seed = 1) {
    Bytes b(n);
    uint32_t x = seed;
    for (auto &c : b) {
        x = x * 1103515245u + 12345u;
        c = static_cast<unsigned char>(x >> 16);
    }
    return b;
}

Bytes text_bytes(const std::string &s) { return Bytes(s.begin(), s.end()); }

TEST(Md5, Rfc1321Suite) {
    const struct {
        const char *input;
        const char *digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto &c : cases) {
        const Bytes m = text_bytes(c.input);
        EXPECT_EQ(one_call(m), c.digest) << c.input;
        EXPECT_EQ(one_call_text(m), c.digest) << c.input;
        EXPECT_EQ(streamed(m, {}), c.digest) << c.input;
        EXPECT_EQ(reference_md5(m), c.digest) << "reference: " << c.input;
        MD5Context ctx;
        MD5Init(&ctx);
        MD5Update(&ctx, m.data(), static_cast<uint32_t>(m.size()));
        char text[48] = {};
        MD5FinalString(text, &ctx);
        EXPECT_EQ(std::string(text), c.digest) << c.input;
    }
}

TEST(Md5, EveryLengthUpTo200AgreesWithTheReference) {
    for (size_t n = 0; n <= 200; ++n) {
        const Bytes m = pattern(n, static_cast<unsigned>(n) + 7);
        const std::string want = reference_md5(m);
        EXPECT_EQ(one_call(m), want) << n;
        EXPECT_EQ(streamed(m, {}), want) << n;
        std::vector<size_t> bytewise;
        for (size_t i = 1; i < n; ++i) bytewise.push_back(i);
        EXPECT_EQ(streamed(m, bytewise), want) << "byte by byte, " << n;
    }
}

TEST(Md5, EverySplitOfTheInputGivesTheSameDigest) {
    const Bytes m = pattern(200, 99);
    const std::string want = reference_md5(m);
    for (size_t a = 0; a <= m.size(); ++a) {
        EXPECT_EQ(streamed(m, {a}), want) << a;
        for (size_t b : {a + 1, a + 55, a + 64, a + 129}) {
            if (b > m.size()) continue;
            EXPECT_EQ(streamed(m, {a, b}), want) << a << "," << b;
        }
    }
}

TEST(Md5, LargeAndUnalignedInput) {
    const Bytes big = pattern(1 << 20 | 37, 5);
    const std::string want = reference_md5(big);
    EXPECT_EQ(one_call(big), want);
    EXPECT_EQ(streamed(big, {1, 4096, 4097, 700001}), want);
    // Whole blocks are read straight from the caller's memory, at any alignment.
    for (size_t shift = 1; shift < 8; ++shift) {
        const Bytes part(big.begin() + static_cast<long>(shift), big.begin() + static_cast<long>(shift) + 1000);
        unsigned char d[16];
        dir_md5_digest(d, big.data() + shift, 1000);
        EXPECT_EQ(hex(d), reference_md5(part)) << shift;
    }
}

TEST(Md5, TextFormsWriteExactly32Bytes) {
    const Bytes m = text_bytes("abc");
    char out[48];
    memset(out, 0x5A, sizeof out);
    dir_md5_string(out, m.data(), 3);
    EXPECT_EQ(std::string(out, 32), "900150983cd24fb0d6963f7d28e17f72");
    for (size_t i = 32; i < sizeof out; ++i) EXPECT_EQ(out[i], 0x5A) << i;

    MD5Context ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, m.data(), 3);
    memset(out, 0x5A, sizeof out);
    MD5FinalString(out, &ctx);
    EXPECT_EQ(std::string(out, 32), "900150983cd24fb0d6963f7d28e17f72");
    for (size_t i = 32; i < sizeof out; ++i) EXPECT_EQ(out[i], 0x5A) << i;
}

TEST(Md5, ContextLifecycle) {
    MD5Context ctx;
    memset(&ctx, 0x33, sizeof ctx);
    MD5Init(&ctx);
    EXPECT_EQ(ctx.state[0], 0x67452301u);
    EXPECT_EQ(ctx.state[3], 0x10325476u);
    EXPECT_EQ(ctx.count[0], 0u);
    EXPECT_EQ(ctx.count[1], 0u);
    for (unsigned char b : ctx.buffer) EXPECT_EQ(b, 0x33);  // left alone

    const Bytes m = pattern(77);
    MD5Update(&ctx, m.data(), 77);
    EXPECT_EQ(ctx.count[0], 77u * 8);
    unsigned char d[16];
    MD5Final(d, &ctx);
    MD5Context zero;
    memset(&zero, 0, sizeof zero);
    EXPECT_EQ(memcmp(&ctx, &zero, sizeof ctx), 0);

    // A length of 0 reads nothing: a null pointer is fine.
    MD5Init(&ctx);
    MD5Update(&ctx, nullptr, 0);
    MD5Final(d, &ctx);
    EXPECT_EQ(hex(d), "d41d8cd98f00b204e9800998ecf8427e");
    dir_md5_digest(d, nullptr, 0);
    EXPECT_EQ(hex(d), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, SelfTestPrintsUpperCaseDigestOnStderr) {
    testsupport::TempDir dir;
    const std::string file = dir / "stderr";
    fflush(stderr);
    const int saved = dup(2);
    FILE *f = fopen(file.c_str(), "w");
    ASSERT_NE(f, nullptr);
    dup2(fileno(f), 2);
    const int r = DirMd5Test();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    fclose(f);
    EXPECT_EQ(r, 0);
    EXPECT_EQ(testsupport::read_file(file), "5D41402ABC4B2A76B9719D911017C592\n");
}

}  // namespace
