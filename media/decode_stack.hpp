// The stack that one MP3 decoding needs below Zev_Mp3Decode: the decoding
// record (decoder state and one frame of PCM, about 11 KB) and minimp3's
// scratch space both stand on the caller's stack.
#pragma once

#include <cstddef>

namespace comm {

// Measured deepest use of a whole decoding, from the caller's frame down:
// 33.1 KB on x86-64 (release), 29.2 KB on 32-bit ARM (RelWithDebInfo); the
// sanitizers add about 3.6 KB (AddressSanitizer) of frames of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr size_t kDecodeStackSanitizers = 4 * 1024;
#else
inline constexpr size_t kDecodeStackSanitizers = 0;
#endif
inline constexpr size_t kDecodeStackMeasured = sizeof(void *) == 4 ? 30 * 1024 : 34 * 1024;
inline constexpr size_t kDecodeStackMargin = 4 * 1024;
inline constexpr size_t kDecodeStackNeed = kDecodeStackMeasured + kDecodeStackSanitizers + kDecodeStackMargin;

// True when the calling thread has room for a decoding; otherwise logs WAR
// "stack room %u bytes, decoding needs %u\n" and returns false.
bool decode_stack_room_ok();

}  // namespace comm
