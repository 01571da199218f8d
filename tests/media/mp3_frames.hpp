// MP3 files for tests, built byte by byte: silent MPEG-1 Layer III frames at
// 128 kbit/s and 48 kHz (384 bytes, 1152 samples per channel each), and a
// walker that counts the frames of any MPEG-1 Layer III stream.
#pragma once

#include <cstdint>
#include <string>

namespace testsupport {

constexpr size_t kSilentFrameBytes = 384;
constexpr size_t kSamplesPerFrame = 1152;

// One frame: header, all-zero side information and main data, which
// decodes to silence.
inline std::string silent_frame(bool stereo) {
    std::string f(kSilentFrameBytes, '\0');
    f[0] = '\xFF';
    f[1] = '\xFB';                    // MPEG-1, Layer III, no CRC
    f[2] = '\x94';                    // 128 kbit/s, 48 kHz, no padding
    f[3] = stereo ? '\x00' : '\xC0';  // stereo or single channel
    return f;
}

inline std::string silent_frames(size_t n, bool stereo) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += silent_frame(stereo);
    return s;
}

// Counts the MPEG-1 Layer III frames from the start of `data`, header to
// header, until something that is not a frame header or the end.
inline size_t count_frames(const std::string &data, int *channels = nullptr) {
    static const int kKbps[16] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
    static const int kHz[4] = {44100, 48000, 32000, 0};
    size_t pos = 0, n = 0;
    while (pos + 4 <= data.size()) {
        const auto *h = reinterpret_cast<const unsigned char *>(data.data() + pos);
        if (h[0] != 0xFF || (h[1] & 0xFE) != 0xFA) break;
        const int kbps = kKbps[h[2] >> 4], hz = kHz[(h[2] >> 2) & 3];
        if (kbps == 0 || hz == 0) break;
        const size_t bytes = static_cast<size_t>(144 * kbps * 1000 / hz + ((h[2] >> 1) & 1));
        if (pos + bytes > data.size()) break;
        if (channels != nullptr) *channels = (h[3] >> 6) == 3 ? 1 : 2;
        pos += bytes;
        ++n;
    }
    return n;
}

}  // namespace testsupport
