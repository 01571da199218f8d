// SPDX-License-Identifier: MIT
// mp3: decode an MP3 file to a WAV file through the library; tone: write a
// sine tone as a WAV file (a prompt to encode, a speaker check).
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "comm_mp3.h"
#include "command.hpp"
#include "frame/handles.hpp"
#include "json.hpp"
#include "minimp3.h"

namespace {

constexpr int64_t kMaxPcmBytes = INT32_MAX;
constexpr double kLongFileSeconds = 10.0;
constexpr int kWavHeaderBytes = 44;

struct Mp3Shape {
    int channels = 0;
    int hz = 0;
    int64_t samples = 0;  // per channel, all frames
};

// Walks the frames without decoding them (the decoder only parses headers
// when it gets no PCM buffer): channels and rate of the first, sample count
// of all.
Mp3Shape probe(std::string_view data) {
    Mp3Shape shape;
    mp3dec_t dec;
    mp3dec_init(&dec);
    const auto *p = reinterpret_cast<const uint8_t *>(data.data());
    int64_t left = static_cast<int64_t>(data.size());
    while (left > 0) {
        mp3dec_frame_info_t info;
        memset(&info, 0, sizeof info);
        const int chunk = left > INT32_MAX ? INT32_MAX : static_cast<int>(left);
        const int samples = mp3dec_decode_frame(&dec, p, chunk, nullptr, &info);
        if (info.frame_bytes <= 0) break;
        if (samples > 0) {
            if (shape.channels == 0) {
                shape.channels = info.channels;
                shape.hz = info.hz;
            }
            shape.samples += samples;
        }
        p += info.frame_bytes;
        left -= info.frame_bytes;
    }
    return shape;
}

using WavHeader = std::array<unsigned char, kWavHeaderBytes>;

// The 44-byte header of a 16-bit PCM WAV file.
WavHeader wav_header(int channels, int hz, uint32_t data_bytes) {
    WavHeader h{};
    size_t at = 0;
    const auto tag = [&](const char *t) {
        memcpy(h.data() + at, t, 4);
        at += 4;
    };
    const auto le = [&](uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i) h[at++] = static_cast<unsigned char>(v >> (8 * i));
    };
    tag("RIFF");
    le(36 + data_bytes, 4);
    tag("WAVE");
    tag("fmt ");
    le(16, 4);
    le(1, 2);  // PCM
    le(static_cast<uint32_t>(channels), 2);
    le(static_cast<uint32_t>(hz), 4);
    le(static_cast<uint32_t>(hz * channels * 2), 4);
    le(static_cast<uint32_t>(channels * 2), 2);
    le(16, 2);
    tag("data");
    le(data_bytes, 4);
    return h;
}

bool write_wav(const char *path, int channels, int hz, const unsigned char *pcm, uint32_t bytes) {
    FILE *f = fopen(path, "wb");
    if (f == nullptr) return false;
    const WavHeader h = wav_header(channels, hz, bytes);
    bool ok = fwrite(h.data(), 1, h.size(), f) == h.size() && fwrite(pcm, 1, bytes, f) == bytes;
    ok = fclose(f) == 0 && ok;
    return ok;
}

// Maps a whole file read-only; invalid (errno set) on failure. An empty
// file gives an empty mapping; a file the library would refuse (2 GiB or
// more) fails with EFBIG.
comm::Mapping map_input(const char *path) {
    const comm::UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC));
    struct stat st {};
    if (!fd || fstat(fd.get(), &st) != 0) return {};
    if (st.st_size >= kMaxPcmBytes) {
        errno = EFBIG;
        return {};
    }
    if (st.st_size == 0) return {nullptr, 0};
    const auto len = static_cast<size_t>(st.st_size);
    return {mmap(nullptr, len, PROT_READ, MAP_PRIVATE, fd.get(), 0), len};
}

// The library decodes straight into the output file's mapping, behind the
// header's room: the PCM is never held in this process's own memory. The
// blocks are reserved first, so that a full disk is an error here and not
// a fault while the library writes.
int decode_to_wav(const char *in, const char *out, const Mp3Shape &shape) {
    const int64_t capacity = shape.samples * shape.channels * 2;
    const int64_t room = static_cast<int64_t>(kWavHeaderBytes) + capacity;
    if (room > kMaxPcmBytes) return commctl::failure("%s decodes to more than 2 GiB", in);
    const comm::UniqueFd fd(open(out, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!fd) return commctl::failure("cannot write %s: %s", out, strerror(errno));
    if (const int e = posix_fallocate(fd.get(), 0, room); e != 0)
        return commctl::failure("cannot write %s: %s", out, strerror(e));
    int32_t got = 0;
    {
        comm::Mapping map(
            mmap(nullptr, static_cast<size_t>(room), PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0),
            static_cast<size_t>(room));
        if (!map.valid()) return commctl::failure("cannot map %s: %s", out, strerror(errno));
        got = Zev_Mp3Decode(in, map.data() + kWavHeaderBytes, static_cast<int32_t>(capacity));
        if (got > 0) {
            const WavHeader h = wav_header(shape.channels, shape.hz, static_cast<uint32_t>(got));
            memcpy(map.data(), h.data(), h.size());
        }
    }
    if (got <= 0) {
        unlink(out);
        return commctl::failure("%s could not be decoded", in);
    }
    if (ftruncate(fd.get(), kWavHeaderBytes + got) != 0 || fsync(fd.get()) != 0)
        return commctl::failure("cannot write %s: %s", out, strerror(errno));
    printf("%s: %d bytes of PCM, %d Hz, %d channel(s), %.2f s\n", out, got, shape.hz, shape.channels,
           static_cast<double>(got) / (2.0 * shape.channels * shape.hz));
    return commctl::kOk;
}

int show_info(const char *in, const Mp3Shape &shape) {
    const int64_t ms = shape.samples * 1000 / shape.hz;
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .str("file", in)
            .num("duration_ms", ms)
            .num("rate_hz", shape.hz)
            .num("channels", shape.channels)
            .num("samples", shape.samples)
            .end();
    } else {
        printf("duration %lld.%03lld s\n", static_cast<long long>(ms / 1000),
               static_cast<long long>(ms % 1000));
        printf("rate     %d Hz\n", shape.hz);
        printf("channels %d\n", shape.channels);
        printf("samples  %lld per channel\n", static_cast<long long>(shape.samples));
    }
    return commctl::kOk;
}

int run_mp3(commctl::Args args) {
    const bool info = args.size() == 2 && strcmp(args[0], "--info") == 0;
    if (args.size() != 2)
        return commctl::usage_error("mp3 wants FILE OUT.wav or --info FILE (see commctl mp3 --help)");
    const char *in = args[info ? 1 : 0];
    Mp3Shape shape;
    {
        const comm::Mapping data = map_input(in);
        if (!data.valid()) return commctl::failure("cannot read %s: %s", in, strerror(errno));
        shape = probe(std::string_view(reinterpret_cast<const char *>(data.data()), data.size()));
    }
    if (shape.channels == 0) return commctl::failure("%s holds no MP3 frame", in);
    if (info) return show_info(in, shape);
    const double seconds = static_cast<double>(shape.samples) / shape.hz;
    if (seconds > kLongFileSeconds)
        fprintf(stderr, "commctl: decoding %s: %.1f s of %d Hz audio, %d channel(s)...\n", in, seconds,
                shape.hz, shape.channels);
    return decode_to_wav(in, args[1], shape);
}

int run_tone(commctl::Args args) {
    uint32_t ms = 0, hz = 0;
    if (args.size() != 3 || !commctl::parse_u32(args[0], ms) || ms == 0 || ms > 600000 ||
        !commctl::parse_u32(args[1], hz) || hz == 0 || hz > 20000)
        return commctl::usage_error("tone wants MILLISECONDS (1 to 600000) HZ (1 to 20000) OUT.wav");
    constexpr int kRate = 44100;
    constexpr double kPi = 3.14159265358979323846;
    const size_t n = static_cast<size_t>(kRate) * ms / 1000;
    std::vector<unsigned char> pcm;
    pcm.reserve(n * 2);
    for (size_t i = 0; i < n; ++i) {
        const double fade =
            std::min(1.0, std::min(static_cast<double>(i), static_cast<double>(n - i)) / 441.0);
        const auto v = static_cast<int16_t>(
            std::lround(10000.0 * fade * std::sin(2 * kPi * hz * static_cast<double>(i) / kRate)));
        pcm.push_back(static_cast<unsigned char>(v & 0xFF));
        pcm.push_back(static_cast<unsigned char>((v >> 8) & 0xFF));
    }
    if (!write_wav(args[2], 1, kRate, pcm.data(), static_cast<uint32_t>(pcm.size())))
        return commctl::failure("cannot write %s: %s", args[2], strerror(errno));
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(mp3, "mp3", "decode an MP3 file to a WAV file",
                "usage: commctl mp3 FILE OUT.wav\n"
                "       commctl mp3 --info FILE\n"
                "\n"
                "Decodes FILE with the library into 16-bit PCM and writes it as a WAV\n"
                "file with the file's rate and channels; the PCM goes straight into the\n"
                "output file. Long files get a progress line on stderr before the\n"
                "decoding starts. --info shows the duration, rate and channels without\n"
                "decoding (the frame headers alone).\n",
                run_mp3);
COMMCTL_COMMAND(tone, "tone", "write a sine tone as a WAV file",
                "usage: commctl tone MILLISECONDS HZ OUT.wav\n"
                "\n"
                "Writes a mono 44100 Hz 16-bit sine tone, faded in and out, e.g. to make\n"
                "a prompt with lame or to check a speaker.\n",
                run_tone);
