#include "media/decode_stack.hpp"

#include "comm_log.h"
#include "frame/stack_room.hpp"

namespace comm {

bool decode_stack_room_ok() {
    const size_t room = stack_room();
    if (room >= kDecodeStackNeed) return true;
    ZEV_COMM_LOG_AS(WAR, "Zev_Mp3Decode", "stack room %u bytes, decoding needs %u\n",
                    static_cast<unsigned>(room), static_cast<unsigned>(kDecodeStackNeed));
    return false;
}

}  // namespace comm
