// SPDX-License-Identifier: MIT
#include "media/decode_stack.hpp"

#include <cstring>

#include "comm_log.h"
#include "frame/stack_room.hpp"
#include "minimp3.h"

extern "C" int comm_minimp3_decode_frame(mp3dec_t *dec, const uint8_t *mp3, int mp3_bytes, mp3d_sample_t *pcm,
                                         mp3dec_frame_info_t *info);

namespace comm {

bool decode_stack_room_ok(size_t need, const char *func) {
    const size_t room = stack_room();
    if (room >= need) return true;
    ZEV_COMM_LOG_AS(WAR, func, "stack room %u bytes, decoding needs %u\n", static_cast<unsigned>(room),
                    static_cast<unsigned>(need));
    return false;
}

}  // namespace comm

extern "C" {

// minimp3's frame decoder behind a check of the caller's stack: short of
// room it reports no frame (result 0, info all zero, frame_bytes 0) instead
// of running off the stack.
COMM_API int mp3dec_decode_frame(mp3dec_t *dec, const uint8_t *mp3, int mp3_bytes, mp3d_sample_t *pcm,
                                 mp3dec_frame_info_t *info) {
    if (!comm::decode_stack_room_ok(comm::kFrameStackNeed, "mp3dec_decode_frame")) {
        memset(info, 0, sizeof *info);
        return 0;
    }
    return comm_minimp3_decode_frame(dec, mp3, mp3_bytes, pcm, info);
}

}  // extern "C"
