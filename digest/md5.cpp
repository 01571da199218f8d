// SPDX-License-Identifier: MIT
// MD5 in its two exported forms: the one-call digest (whole blocks straight
// from the caller's memory, then a padded tail of one or two blocks) and
// the streaming context of the classic Init/Update/Final shape.
#include <cstdio>
#include <cstring>

#include "comm_digest.h"
#include "digest/md5_transform.hpp"

namespace comm::md5 {
namespace {

constexpr size_t kLengthBytes = 8;
constexpr size_t kLengthAt = kBlockSize - kLengthBytes;  // 56

// The message length in bits, 64 bits wide, least significant byte first.
void put_bit_length(unsigned char *out, uint32_t low_bits, uint32_t high_bits) {
    for (size_t i = 0; i < 4; ++i) {
        out[i] = static_cast<unsigned char>(low_bits >> (8 * i));
        out[4 + i] = static_cast<unsigned char>(high_bits >> (8 * i));
    }
}

void one_call_digest(unsigned char out[16], const unsigned char *in, uint32_t len) {
    uint32_t state[4] = {kInit[0], kInit[1], kInit[2], kInit[3]};
    const size_t whole = len / kBlockSize;
    transform(state, in, whole);

    unsigned char tail[2 * kBlockSize] = {};
    const size_t rest = len % kBlockSize;
    if (rest != 0) memcpy(tail, in + whole * kBlockSize, rest);
    tail[rest] = 0x80;
    const size_t tail_len = rest < kLengthAt ? kBlockSize : 2 * kBlockSize;
    put_bit_length(tail + tail_len - kLengthBytes, len << 3, len >> 29);
    transform(state, tail, tail_len / kBlockSize);
    store_digest(out, state);
}

void update(MD5Context *ctx, const unsigned char *in, uint32_t len) {
    size_t index = (ctx->count[0] >> 3) & 0x3F;
    const uint32_t add_bits = len << 3;
    ctx->count[0] += add_bits;
    if (ctx->count[0] < add_bits) ++ctx->count[1];
    ctx->count[1] += len >> 29;

    const size_t part = kBlockSize - index;
    size_t used = 0;
    if (len >= part) {
        memcpy(&ctx->buffer[index], in, part);
        transform(ctx->state, ctx->buffer, 1);
        used = part;
        const size_t blocks = (len - used) / kBlockSize;
        transform(ctx->state, in + used, blocks);
        used += blocks * kBlockSize;
        index = 0;
    }
    if (len > used) memcpy(&ctx->buffer[index], in + used, len - used);
}

void final(unsigned char digest[16], MD5Context *ctx) {
    static constexpr unsigned char kPadding[kBlockSize] = {0x80};
    unsigned char bits[kLengthBytes];
    put_bit_length(bits, ctx->count[0], ctx->count[1]);
    const size_t index = (ctx->count[0] >> 3) & 0x3F;
    const size_t pad = index < kLengthAt ? kLengthAt - index : kLengthAt + kBlockSize - index;
    update(ctx, kPadding, static_cast<uint32_t>(pad));
    update(ctx, bits, kLengthBytes);
    store_digest(digest, ctx->state);
    memset(ctx, 0, sizeof *ctx);
}

}  // namespace
}  // namespace comm::md5

extern "C" {

COMM_API void dir_md5_digest(unsigned char *out, const void *in, uint32_t len) {
    comm::md5::one_call_digest(out, static_cast<const unsigned char *>(in), len);
}

COMM_API void dir_md5_string(char *out, const void *in, uint32_t len) {
    unsigned char digest[16];
    comm::md5::one_call_digest(digest, static_cast<const unsigned char *>(in), len);
    comm::md5::digest_text(out, digest);
}

COMM_API int32_t DirMd5Test(void) {
    unsigned char digest[16];
    dir_md5_digest(digest, "hello", 5);
    for (unsigned char byte : digest) fprintf(stderr, "%02X", byte);
    fputc('\n', stderr);
    return 0;
}

COMM_API void MD5Init(MD5Context *ctx) {
    for (int i = 0; i < 4; ++i) ctx->state[i] = comm::md5::kInit[i];
    ctx->count[0] = 0;
    ctx->count[1] = 0;
}

COMM_API void MD5Update(MD5Context *ctx, const unsigned char *in, uint32_t len) {
    comm::md5::update(ctx, in, len);
}

COMM_API void MD5Final(unsigned char *digest, MD5Context *ctx) { comm::md5::final(digest, ctx); }

COMM_API void MD5FinalString(char *out, MD5Context *ctx) {
    unsigned char digest[16];
    comm::md5::final(digest, ctx);
    comm::md5::digest_text(out, digest);
}

}  // extern "C"
