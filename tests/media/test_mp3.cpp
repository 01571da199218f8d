// MP3 decoding of files made in the test: hand-built silent frames for the
// exact byte counts, the cut at the capacity, garbage and failures, and a
// tone encoded with lame that has to come back close to its source.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_mp3.h"
#include "log_lines.hpp"
#include "mp3_frames.hpp"
#include "tempdir.hpp"

using testsupport::capture_stdout;
using testsupport::silent_frames;
using testsupport::summarise;
using Lines = std::vector<std::string>;

namespace {

constexpr int32_t kMonoFrameBytes = 1152 * 2;
constexpr int32_t kStereoFrameBytes = 1152 * 2 * 2;
constexpr unsigned char kUntouched = 0xA5;
const std::string kWarn = "WAR Zev_Mp3Decode :mp3decoder_init error!\n";

class Mp3 : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(5); }
    std::string file(const std::string &name, const std::string &content) const {
        const std::string p = dir_ / name;
        EXPECT_TRUE(testsupport::write_file(p, content));
        return p;
    }
    // Decodes into a buffer of `capacity` bytes followed by a guard, and
    // checks that nothing behind the result was written.
    int32_t decode(const std::string &path, int32_t capacity, Lines *lines = nullptr) {
        out_.assign(static_cast<size_t>(capacity) + 64, kUntouched);
        int32_t r = -1;
        const auto printed =
            summarise(capture_stdout([&] { r = Zev_Mp3Decode(path.c_str(), out_.data(), capacity); }));
        if (lines != nullptr) *lines = printed;
        for (size_t i = r < 0 ? 0 : static_cast<size_t>(r); i < out_.size(); ++i) {
            if (out_[i] != kUntouched) {
                ADD_FAILURE() << "byte " << i << " written behind the result " << r;
                break;
            }
        }
        return r;
    }
    testsupport::TempDir dir_;
    std::vector<unsigned char> out_;
};

TEST_F(Mp3, FailuresGiveZero) {
    const std::string empty = file("empty.mp3", "");
    const std::string good = file("good.mp3", silent_frames(10, false));
    ASSERT_EQ(mkdir((dir_ / "folder.mp3").c_str(), 0700), 0);
    char buf[16];
    const struct {
        const char *what;
        const char *path;
        void *out;
        int32_t capacity;
        Lines lines;
    } cases[] = {
        {"missing file", "/nonexistent/x.mp3", buf, 16, {kWarn}},
        {"empty file", empty.c_str(), buf, 16, {kWarn}},
        {"folder", (dir_ / "folder.mp3").c_str(), buf, 16, {kWarn}},
        {"null path", nullptr, buf, 16, {}},
        {"null out", good.c_str(), nullptr, 16, {}},
        {"capacity 0", good.c_str(), buf, 0, {}},
        {"negative capacity", good.c_str(), buf, -1, {}},
    };
    for (const auto &c : cases) {
        int32_t r = -1;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Mp3Decode(c.path, c.out, c.capacity); }));
        EXPECT_EQ(r, 0) << c.what;
        EXPECT_EQ(lines, c.lines) << c.what;
    }
}

TEST_F(Mp3, FilesWithoutFramesGiveZeroAfterTheDbgLine) {
    const struct {
        const char *what;
        std::string content;
    } cases[] = {
        {"text", "this is not an mp3 file at all\n"},
        {"zeros", std::string(5000, '\0')},
        {"one header byte pair", "\xFF\xFB"},
        {"a lone frame header", std::string("\xFF\xFB\x94\xC0", 4)},
    };
    for (const auto &c : cases) {
        Lines lines;
        EXPECT_EQ(decode(file("nothing.mp3", c.content), 100000, &lines), 0) << c.what;
        EXPECT_EQ(lines, Lines{"DBG Zev_Mp3Decode :samprate:0, channels:0\n"}) << c.what;
    }
}

TEST_F(Mp3, WholeFilesGiveEveryFrame) {
    const struct {
        const char *what;
        size_t frames;
        bool stereo;
        int32_t bytes;
        std::string line;
    } cases[] = {
        {"mono, 10 frames", 10, false, 10 * kMonoFrameBytes,
         "DBG Zev_Mp3Decode :samprate:48000, channels:1\n"},
        {"mono, 1 frame", 1, false, kMonoFrameBytes, "DBG Zev_Mp3Decode :samprate:48000, channels:1\n"},
        {"stereo, 10 frames", 10, true, 10 * kStereoFrameBytes,
         "DBG Zev_Mp3Decode :samprate:48000, channels:2\n"},
        {"mono, 300 frames", 300, false, 300 * kMonoFrameBytes,
         "DBG Zev_Mp3Decode :samprate:48000, channels:1\n"},
    };
    for (const auto &c : cases) {
        Lines lines;
        const std::string path = file("frames.mp3", silent_frames(c.frames, c.stereo));
        EXPECT_EQ(decode(path, c.bytes + 4096, &lines), c.bytes) << c.what;
        EXPECT_EQ(lines, Lines{c.line}) << c.what;  // once, whatever the length
        for (int32_t i = 0; i < c.bytes; ++i) {
            if (out_[static_cast<size_t>(i)] != 0) {
                ADD_FAILURE() << c.what << ": silence expected at byte " << i;
                break;
            }
        }
    }
}

TEST_F(Mp3, ASmallBufferIsFilledExactly) {
    const std::string path = file("ten.mp3", silent_frames(10, false));
    const int32_t whole = 10 * kMonoFrameBytes;
    for (const int32_t capacity : {1, 2, kMonoFrameBytes - 1, kMonoFrameBytes, kMonoFrameBytes + 1,
                                   5 * kMonoFrameBytes + 7, whole - 1, whole, whole + 1}) {
        EXPECT_EQ(decode(path, capacity), std::min(capacity, whole)) << capacity;
    }
    // The cut leaves the file closed and unmapped: many calls in a row work.
    for (int i = 0; i < 200; ++i) ASSERT_EQ(decode(path, 3), 3);
}

TEST_F(Mp3, DecodingStopsAtTheFirstCallWithoutSamples) {
    // The decoder trusts a frame only when the next header follows it (or
    // the file ends): the frame in front of foreign bytes goes with them.
    // Within one call it skips foreign bytes up to the next run of frames.
    const struct {
        const char *what;
        std::string content;
        int32_t bytes;
    } cases[] = {
        {"trailing text", silent_frames(12, false) + "TAG trailing bytes, not a frame", 11 * kMonoFrameBytes},
        {"trailing zeros", silent_frames(12, false) + std::string(1000, '\0'), 11 * kMonoFrameBytes},
        {"garbage in the middle", silent_frames(12, false) + std::string(500, 'x') + silent_frames(12, false),
         23 * kMonoFrameBytes},
        {"cut last frame", silent_frames(12, false).substr(0, 12 * 384 - 100), 11 * kMonoFrameBytes},
        {"garbage in front", std::string(100, 'x') + silent_frames(12, false), 12 * kMonoFrameBytes},
    };
    for (const auto &c : cases) {
        Lines lines;
        EXPECT_EQ(decode(file("mixed.mp3", c.content), 1 << 20, &lines), c.bytes) << c.what;
        EXPECT_EQ(lines, Lines{"DBG Zev_Mp3Decode :samprate:48000, channels:1\n"}) << c.what;
    }
}

TEST_F(Mp3, ThreadsDecodeAtTheSameTime) {
    const std::string path = file("shared.mp3", silent_frames(50, true));
    Zev_Comm_SetPrintLev(1);
    std::vector<int32_t> results(4, -1);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&, i] {
            std::vector<unsigned char> out(50 * kStereoFrameBytes);
            results[i] = Zev_Mp3Decode(path.c_str(), out.data(), static_cast<int32_t>(out.size()));
        });
    }
    for (auto &t : threads) t.join();
    for (const int32_t r : results) EXPECT_EQ(r, 50 * kStereoFrameBytes);
}

// A 440 Hz tone through lame and back: every frame is decoded, and after
// the encoder's delay the samples follow the source closely.
TEST_F(Mp3, ALameToneComesBackClosely) {
    const char *lame = COMM_LAME;
    if (lame[0] == '\0') GTEST_SKIP() << "lame not found at configure time";
    constexpr int kRate = 44100;
    constexpr double kPi = 3.14159265358979323846;
    std::vector<int16_t> tone(kRate);  // one second
    for (size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<int16_t>(
            std::lround(12000.0 * std::sin(2 * kPi * 440.0 * static_cast<double>(i) / kRate)));
    ASSERT_TRUE(testsupport::write_file(
        dir_ / "tone.raw", std::string(reinterpret_cast<const char *>(tone.data()), tone.size() * 2)));
    const std::string cmd = std::string(lame) +
                            " --quiet -r -s 44.1 --bitwidth 16 --signed --little-endian -m m -b 128 -t " +
                            (dir_ / "tone.raw") + " " + (dir_ / "tone.mp3");
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    const std::string mp3 = testsupport::read_file(dir_ / "tone.mp3");
    int channels = 0;
    const size_t frames = testsupport::count_frames(mp3, &channels);
    ASSERT_GT(frames, 30u);
    ASSERT_EQ(channels, 1);

    const int32_t expected = static_cast<int32_t>(frames) * kMonoFrameBytes;
    Lines lines;
    ASSERT_EQ(decode(dir_ / "tone.mp3", expected + 1000, &lines), expected);
    EXPECT_EQ(lines, Lines{"DBG Zev_Mp3Decode :samprate:44100, channels:1\n"});

    std::vector<int16_t> pcm(static_cast<size_t>(expected) / 2);
    memcpy(pcm.data(), out_.data(), static_cast<size_t>(expected));
    // Find the encoder's delay, then compare a stretch in the middle.
    const size_t from = 8000, len = 20000;
    size_t best_delay = 0;
    double best_err = 1e300;
    for (size_t d = 0; d < 3000; ++d) {
        double err = 0;
        for (size_t i = from; i < from + len; i += 7) {
            const double e = pcm[i + d] - tone[i];
            err += e * e;
        }
        if (err < best_err) best_err = err, best_delay = d;
    }
    double err = 0, power = 0;
    for (size_t i = from; i < from + len; ++i) {
        const double e = pcm[i + best_delay] - tone[i];
        err += e * e;
        power += static_cast<double>(tone[i]) * tone[i];
    }
    EXPECT_LT(err / power, 0.01) << "delay " << best_delay;  // better than 20 dB

    // The same samples whether frames are decoded in place or through the
    // frame buffer: at an odd address, and with the last frames cut.
    std::vector<unsigned char> odd(static_cast<size_t>(expected) + 1, kUntouched);
    ASSERT_EQ(Zev_Mp3Decode((dir_ / "tone.mp3").c_str(), odd.data() + 1, expected), expected);
    EXPECT_EQ(memcmp(odd.data() + 1, out_.data(), static_cast<size_t>(expected)), 0);
    const int32_t cut = expected - 3001;
    std::vector<unsigned char> part(static_cast<size_t>(expected), kUntouched);
    ASSERT_EQ(Zev_Mp3Decode((dir_ / "tone.mp3").c_str(), part.data(), cut), cut);
    EXPECT_EQ(memcmp(part.data(), out_.data(), static_cast<size_t>(cut)), 0);
    EXPECT_EQ(part[static_cast<size_t>(cut)], kUntouched);
}

}  // namespace
