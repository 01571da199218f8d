// MP3 decoding of files made in the test: hand-built silent frames for the
// exact byte counts, the cut at the capacity, garbage and failures, and a
// tone encoded with lame that has to come back close to its source.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "comm_log.h"
#include "comm_mp3.h"
#include "media_test.hpp"
#include "tempdir.hpp"

using testsupport::Lines;
using testsupport::logged;
using testsupport::silent_frames;

namespace {

constexpr int32_t kMono = 1152 * 2, kStereo = 2 * kMono;  // PCM bytes of one frame
constexpr unsigned char kUntouched = 0xA5;
const std::string kMonoLine = "DBG Zev_Mp3Decode :samprate:48000, channels:1\n";

class Mp3 : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(5); }
    std::string file(const std::string &content) const {
        EXPECT_TRUE(testsupport::write_file(dir_ / "in.mp3", content));
        return dir_ / "in.mp3";
    }
    // Decodes into `capacity` bytes followed by a guard; nothing behind the
    // result may be written.
    std::pair<int32_t, Lines> decode(const std::string &path, int32_t capacity) {
        out_.assign(static_cast<size_t>(capacity) + 64, kUntouched);
        const auto got = logged([&] { return Zev_Mp3Decode(path.c_str(), out_.data(), capacity); });
        for (size_t i = static_cast<size_t>(std::max(got.first, 0)); i < out_.size(); ++i) {
            if (out_[i] != kUntouched) {
                ADD_FAILURE() << "byte " << i << " written behind the result " << got.first;
                break;
            }
        }
        return got;
    }
    testsupport::TempDir dir_;
    std::vector<unsigned char> out_;
};

TEST_F(Mp3, FailuresGiveZero) {
    const std::string empty = dir_ / "empty.mp3", good = file(silent_frames(10, false));
    ASSERT_TRUE(testsupport::write_file(empty, ""));
    ASSERT_EQ(mkdir((dir_ / "folder.mp3").c_str(), 0700), 0);
    const Lines warn = {"WAR Zev_Mp3Decode :mp3decoder_init error!\n"};
    char buf[16];
    const struct {
        std::string path;
        void *out;
        int32_t capacity;
        Lines lines;
    } cases[] = {
        {"/nonexistent/x.mp3", buf, 16, warn},
        {empty, buf, 16, warn},
        {dir_ / "folder.mp3", buf, 16, warn},
        {"", buf, 16, {}},  // null path
        {good, nullptr, 16, {}},
        {good, buf, 0, {}},
        {good, buf, -1, {}},
    };
    for (const auto &c : cases) {
        const char *path = c.path.empty() ? nullptr : c.path.c_str();
        EXPECT_EQ(logged([&] { return Zev_Mp3Decode(path, c.out, c.capacity); }), std::make_pair(0, c.lines))
            << c.path << " " << c.capacity;
    }
}

TEST_F(Mp3, ExactByteCountsCutsAndGarbage) {
    const std::string ten = silent_frames(10, false), twelve = silent_frames(12, false);
    const std::string none = "DBG Zev_Mp3Decode :samprate:0, channels:0\n";
    const int32_t big = 1 << 20;
    // The decoder trusts a frame only when the next header follows it (or the
    // file ends): the frame in front of foreign bytes goes with them. Within a
    // call it skips foreign bytes up to the next run of frames.
    const struct {
        const char *what;
        std::string content;
        int32_t capacity, bytes;
        std::string line;
    } cases[] = {
        {"1 frame", silent_frames(1, false), big, kMono, kMonoLine},
        {"stereo", silent_frames(10, true), big, 10 * kStereo,
         "DBG Zev_Mp3Decode :samprate:48000, channels:2\n"},
        {"300 frames", silent_frames(300, false), big, 300 * kMono, kMonoLine},
        {"capacity 1", ten, 1, 1, kMonoLine},
        {"frame - 1", ten, kMono - 1, kMono - 1, kMonoLine},
        {"one frame", ten, kMono, kMono, kMonoLine},
        {"frame + 1", ten, kMono + 1, kMono + 1, kMonoLine},
        {"whole - 1", ten, 10 * kMono - 1, 10 * kMono - 1, kMonoLine},
        {"whole", ten, 10 * kMono, 10 * kMono, kMonoLine},
        {"whole + 1", ten, 10 * kMono + 1, 10 * kMono, kMonoLine},
        {"trailing text", twelve + "TAG trailing bytes, not a frame", big, 11 * kMono, kMonoLine},
        {"trailing zeros", twelve + std::string(1000, '\0'), big, 11 * kMono, kMonoLine},
        {"garbage between", twelve + std::string(500, 'x') + twelve, big, 23 * kMono, kMonoLine},
        {"cut last frame", twelve.substr(0, 12 * 384 - 100), big, 11 * kMono, kMonoLine},
        {"garbage in front", std::string(100, 'x') + twelve, big, 12 * kMono, kMonoLine},
        {"text", "this is not an mp3 file at all\n", big, 0, none},
        {"zeros", std::string(5000, '\0'), big, 0, none},
        {"two header bytes", "\xFF\xFB", big, 0, none},
        {"a lone header", std::string("\xFF\xFB\x94\xC0", 4), big, 0, none},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(decode(file(c.content), c.capacity), std::make_pair(c.bytes, Lines{c.line})) << c.what;
        const auto silent = out_.begin() + std::max(c.bytes, 0);
        EXPECT_EQ(std::find_if(out_.begin(), silent, [](unsigned char b) { return b != 0; }), silent)
            << c.what;
    }
    // The cut leaves the file closed and unmapped: many calls in a row work.
    for (int i = 0; i < 200; ++i) ASSERT_EQ(decode(file(ten), 3).first, 3);
}

TEST_F(Mp3, ThreadsDecodeAtTheSameTime) {
    const std::string path = file(silent_frames(50, true));
    Zev_Comm_SetPrintLev(1);
    std::vector<int32_t> results(4, -1);
    std::vector<std::thread> threads;
    for (auto &r : results)
        threads.emplace_back([&] {
            std::vector<unsigned char> out(50 * kStereo);
            r = Zev_Mp3Decode(path.c_str(), out.data(), static_cast<int32_t>(out.size()));
        });
    for (auto &t : threads) t.join();
    EXPECT_EQ(results, std::vector<int32_t>(4, 50 * kStereo));
}

// A 440 Hz tone through lame and back: every frame is decoded, and after the
// encoder's delay the samples follow the source closely.
TEST_F(Mp3, ALameToneComesBackClosely) {
    if (COMM_LAME[0] == '\0') GTEST_SKIP() << "lame not found at configure time";
    std::vector<int16_t> tone(44100);  // one second
    for (size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<int16_t>(std::lround(12000.0 * std::sin(2 * M_PI * 440.0 * double(i) / 44100)));
    ASSERT_TRUE(testsupport::write_file(
        dir_ / "tone.raw", std::string(reinterpret_cast<const char *>(tone.data()), tone.size() * 2)));
    const std::string mp3 = dir_ / "tone.mp3",
                      cmd = std::string(COMM_LAME) +
                            " --quiet -r -s 44.1 --bitwidth 16 --signed --little-endian"
                            " -m m -b 128 -t " +
                            (dir_ / "tone.raw") + " " + mp3;
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    int channels = 0;
    const size_t frames = testsupport::count_frames(testsupport::read_file(mp3), &channels);
    ASSERT_GT(frames, 30u);
    ASSERT_EQ(channels, 1);
    const int32_t expected = static_cast<int32_t>(frames) * kMono;
    ASSERT_EQ(decode(mp3, expected + 1000),
              std::make_pair(expected, Lines{"DBG Zev_Mp3Decode :samprate:44100, channels:1\n"}));
    std::vector<int16_t> pcm(static_cast<size_t>(expected) / 2);
    memcpy(pcm.data(), out_.data(), static_cast<size_t>(expected));
    // Find the encoder's delay, then compare a stretch in the middle.
    const auto error = [&](size_t delay, size_t step) {
        double err = 0;
        for (size_t i = 8000; i < 28000; i += step) err += std::pow(pcm[i + delay] - tone[i], 2);
        return err;
    };
    size_t delay = 0;
    double best = error(0, 7);
    for (size_t d = 1; d < 3000; ++d)
        if (const double e = error(d, 7); e < best) best = e, delay = d;
    double power = 0;
    for (size_t i = 8000; i < 28000; ++i) power += std::pow(tone[i], 2);
    EXPECT_LT(error(delay, 1) / power, 0.01) << "delay " << delay;  // better than 20 dB

    // The same samples whether frames are decoded in place or through the
    // frame buffer: at an odd address, and with the last frames cut.
    std::vector<unsigned char> odd(static_cast<size_t>(expected) + 1, kUntouched);
    ASSERT_EQ(Zev_Mp3Decode(mp3.c_str(), odd.data() + 1, expected), expected);
    EXPECT_EQ(memcmp(odd.data() + 1, out_.data(), static_cast<size_t>(expected)), 0);
    const int32_t cut = expected - 3001;
    std::vector<unsigned char> part(static_cast<size_t>(expected), kUntouched);
    ASSERT_EQ(Zev_Mp3Decode(mp3.c_str(), part.data(), cut), cut);
    EXPECT_EQ(memcmp(part.data(), out_.data(), static_cast<size_t>(cut)), 0);
    EXPECT_EQ(part[static_cast<size_t>(cut)], kUntouched);
}

}  // namespace
