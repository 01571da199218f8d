// SPDX-License-Identifier: MIT
/** @file
 * libcomm digests: MD5 (RFC 1321) in a one-call and a streaming form, and a
 * table-driven CRC-8.
 *
 * Both MD5 forms give the standard digest of any input. A digest is 16 bytes
 * in RFC 1321 order; its text form is exactly 32 lower-case hexadecimal
 * characters with no terminator of its own: the text functions write those
 * 32 bytes and nothing more, so the caller terminates (the library's own
 * callers zero a 48-byte buffer first).
 *
 * Nothing here logs, allocates or fails. Input pointers are read only for
 * the length given (a length of 0 reads nothing, so the pointer may then be
 * null). The one-call functions and the CRC use only the stack and constant
 * tables and may run on any number of threads at once; the streaming form
 * is safe as long as no two threads share a context.
 */
#ifndef COMM_DIGEST_H
#define COMM_DIGEST_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Working record of the streaming MD5 form, owned by the caller. */
typedef struct MD5Context {
    uint32_t state[4];        /* running digest A, B, C, D */
    uint32_t count[2];        /* message length in bits, low word first */
    unsigned char buffer[64]; /* input not yet transformed */
} MD5Context;

/** Writes the 16-byte MD5 digest of in[0..len) to out. */
COMM_API void dir_md5_digest(unsigned char *out, const void *in, uint32_t len);

/** Writes the 32-character digest text of in[0..len) to out (at least 32
 * bytes); byte 32 of out and everything behind it are left as they were. */
COMM_API void dir_md5_string(char *out, const void *in, uint32_t len);

/** Prints the digest of "hello" to stderr in upper case, 16 times "%02X",
 * then a newline (5D41402ABC4B2A76B9719D911017C592). Returns 0. */
COMM_API int32_t DirMd5Test(void);

/** Starts a digest: state gets the RFC 1321 start values, count 0; buffer is
 * not touched. Call once before MD5Update. */
COMM_API void MD5Init(MD5Context *ctx);

/** Takes len bytes in; any split of the input over calls gives the same
 * digest. */
COMM_API void MD5Update(MD5Context *ctx, const unsigned char *in, uint32_t len);

/** Writes the 16 digest bytes, then zeroes the whole context: call MD5Init
 * again before using it further. */
COMM_API void MD5Final(unsigned char *digest, MD5Context *ctx);

/** As MD5Final, but writes the 32-character text to out (at least 32 bytes)
 * and nothing behind it. The context is zeroed the same way. */
COMM_API void MD5FinalString(char *out, MD5Context *ctx);

/**
 * CRC-8 of in[0..len), reflected, generator 0xD5 (table rule: a value with
 * its lowest bit set becomes (value >> 1) ^ 0xAB), no final XOR. The CRC
 * starts as `start`; pass a result back as `start` to continue over several
 * pieces. Length 0 returns the start value without reading `in`.
 * "123456789" gives 0x7C from 0 and 0x7F from 0xFF.
 *
 * Edge choice: only the low 8 bits of `start` are used, so a start value
 * above 255 acts as start & 0xFF and never indexes past the table.
 */
COMM_API uint32_t Zev_Comm_CheckCrc8(const void *in, uint32_t len, uint32_t start);

COMM_END_DECLS

#endif /* COMM_DIGEST_H */
