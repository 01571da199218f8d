// Helpers shared by the media and serial/PWM tests: silent MPEG-1 Layer III
// frames built byte by byte (128 kbit/s, 48 kHz: 384 bytes, 1152 samples per
// channel each), a frame walker, and a call's result with its log lines.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "capture.hpp"
#include "log_lines.hpp"

namespace testsupport {

using Lines = std::vector<std::string>;

// Runs fn with stdout captured: its result and the "TAG func :msg" lines.
template <typename Fn>
auto logged(Fn &&fn) {
    decltype(fn()) r{};
    Lines lines = summarise(capture_stdout([&] { r = fn(); }));
    return std::make_pair(r, lines);
}

// Frames of all-zero side information and main data: they decode to silence.
inline std::string silent_frames(size_t n, bool stereo) {
    std::string f(384, '\0');
    f[0] = '\xFF', f[1] = '\xFB', f[2] = '\x94';  // MPEG-1 Layer III, no CRC, 128k, 48 kHz
    f[3] = stereo ? '\x00' : '\xC0';
    std::string s;
    for (size_t i = 0; i < n; ++i) s += f;
    return s;
}

// Counts the MPEG-1 Layer III frames from the start, header to header, until
// something that is not a frame header or the end.
inline size_t count_frames(const std::string &data, int *channels = nullptr) {
    static const int kKbps[16] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
    static const int kHz[4] = {44100, 48000, 32000, 0};
    size_t pos = 0, n = 0;
    for (; pos + 4 <= data.size(); ++n) {
        const auto *h = reinterpret_cast<const unsigned char *>(data.data() + pos);
        const int kbps = kKbps[h[2] >> 4], hz = kHz[(h[2] >> 2) & 3];
        if (h[0] != 0xFF || (h[1] & 0xFE) != 0xFA || kbps == 0 || hz == 0) break;
        const size_t bytes = static_cast<size_t>(144 * kbps * 1000 / hz + ((h[2] >> 1) & 1));
        if (pos + bytes > data.size()) break;
        if (channels != nullptr) *channels = (h[3] >> 6) == 3 ? 1 : 2;
        pos += bytes;
    }
    return n;
}

}  // namespace testsupport
