// SPDX-License-Identifier: MIT
// The stack that MP3 decoding needs: the decoding record of Zev_Mp3Decode
// (decoder state and one frame of PCM, about 11 KB) and minimp3's scratch
// space stand on the caller's stack.
#pragma once

#include <cstddef>

namespace comm {

// Measured deepest use, from the caller's frame down, of a whole
// Zev_Mp3Decode (33.1 KB on x86-64, 29.2 KB on 32-bit ARM) and of one
// mp3dec_decode_frame (21.6 KB and 17.8 KB); AddressSanitizer adds about
// 3.5 KB to either.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr size_t kDecodeStackSanitizers = 4 * 1024;
#else
inline constexpr size_t kDecodeStackSanitizers = 0;
#endif
inline constexpr bool kStack32 = sizeof(void *) == 4;
inline constexpr size_t kDecodeStackNeed = (kStack32 ? 30 : 34) * 1024 + kDecodeStackSanitizers + 4 * 1024;
// A smaller margin here: Zev_Mp3Decode, having passed its own check, calls
// the frame decoder about 11.5 KB further down.
inline constexpr size_t kFrameStackNeed = (kStack32 ? 18 : 22) * 1024 + kDecodeStackSanitizers + 2 * 1024;

// True when the calling thread has `need` bytes of stack left; otherwise
// logs WAR "stack room %u bytes, decoding needs %u\n" in the name of `func`
// and returns false.
bool decode_stack_room_ok(size_t need, const char *func);

}  // namespace comm
