// SPDX-License-Identifier: MIT
// Helpers of the media, serial and PWM tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "capture.hpp"
#include "log_lines.hpp"

namespace testsupport {

using Lines = std::vector<std::string>;

// fn's result and the "TAG func :msg" lines it printed.
template <typename Fn>
auto logged(Fn &&fn) {
    decltype(fn()) r{};
    Lines lines = summarise(capture_stdout([&] { r = fn(); }));
    return std::make_pair(r, lines);
}

// Silent MPEG-1 Layer III frames of 384 bytes, 1152 samples, 128 kbit/s, 48 kHz.
inline std::string silent_frames(size_t n, bool stereo) {
    std::string f = "\xFF\xFB\x94" + std::string(1, stereo ? '\0' : '\xC0') + std::string(380, '\0'), s;
    for (size_t i = 0; i < n; ++i) s += f;
    return s;
}

}  // namespace testsupport
