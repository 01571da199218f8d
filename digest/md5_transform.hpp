// SPDX-License-Identifier: MIT
// The MD5 block transform shared by the one-call and the streaming form.
#pragma once

#include <cstddef>
#include <cstdint>

namespace comm::md5 {

constexpr size_t kBlockSize = 64;
constexpr uint32_t kInit[4] = {0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u};

// Runs `blocks` 64-byte blocks starting at `data` (any alignment) through
// the compression function, updating state[0..3].
void transform(uint32_t state[4], const unsigned char *data, size_t blocks);

// Stores the four state words as the 16 digest bytes, least significant byte
// of each word first.
void store_digest(unsigned char out[16], const uint32_t state[4]);

// Writes the 32 lower-case hex characters of a digest (no terminator).
void digest_text(char out[32], const unsigned char digest[16]);

}  // namespace comm::md5
