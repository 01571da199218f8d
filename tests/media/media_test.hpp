// SPDX-License-Identifier: MIT
// Helpers of the media, serial and PWM tests.
#pragma once

#include <string>

#include "log_lines.hpp"

namespace testsupport {

// Silent MPEG-1 Layer III frames of 384 bytes, 1152 samples, 128 kbit/s, 48 kHz.
inline std::string silent_frames(size_t n, bool stereo) {
    std::string f = "\xFF\xFB\x94" + std::string(1, stereo ? '\0' : '\xC0') + std::string(380, '\0'), s;
    for (size_t i = 0; i < n; ++i) s += f;
    return s;
}

}  // namespace testsupport
