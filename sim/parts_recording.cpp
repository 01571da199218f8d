// SPDX-License-Identifier: MIT
// The SD card's files: a folder in the state folder ($BOARDSIM_SDCARD) with
// a sample recording whose header block is the recorder's: a version-0
// mvhd box at offset 4104 with a duration of 60000 ms and the frame-rate
// words 30 and 30000.
#include <stdlib.h>

#include <cstdint>
#include <string>

#include "board.hpp"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

constexpr const char *kSample = "/sdcard/DCIM/sample.mp4";

std::string be32(uint32_t v) {
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
            static_cast<char>(v)};
}

std::string sample_recording() {
    std::string f = be32(32) + "ftypisom" + be32(0x200) + "isomiso2avc1mp41";
    f += be32(4096 - 32) + "free";
    f.resize(4096, '\0');
    f += be32(8 + 108) + "moov";
    f += be32(108) + "mvhd" + be32(0) + be32(0) + be32(0);  // version 0, times
    f += be32(1000) + be32(60000);                          // timescale, duration
    f += be32(0x00010000) + be32(0x01000000);               // rate, volume
    f += be32(30) + be32(30000);                            // the frame-rate words
    f += std::string(108 - 48, '\0');
    return f;
}

bool recording_create(Board &board) { return write_text(board.state + kSample, sample_recording()); }

bool recording_attach(Board &board) {
    if (!exists(board.state + kSample) && !recording_create(board)) return false;
    setenv("BOARDSIM_SDCARD", (board.state + "/sdcard").c_str(), 1);
    return true;
}

}  // namespace
BOARDSIM_PART(recording, recording_create, recording_attach);
}  // namespace comm::sim
