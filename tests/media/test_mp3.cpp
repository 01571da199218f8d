// MP3 decoding of files made in the test: hand-built silent frames for the
// exact byte counts, the cut at the capacity, garbage and failures, and a
// tone encoded with lame that has to come back close to its source.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "comm_log.h"
#include "comm_mp3.h"
#include "media_test.hpp"
#include "tempdir.hpp"

using testsupport::Lines;
using testsupport::logged;
using testsupport::silent_frames;

namespace {

constexpr int32_t kMono = 1152 * 2;  // PCM bytes of one frame
constexpr unsigned char kUntouched = 0xA5;

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
        const auto behind = out_.begin() + std::max(got.first, 0);
        EXPECT_EQ(std::count(behind, out_.end(), kUntouched), out_.end() - behind)
            << "written behind the result";
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
    const std::tuple<const char *, void *, int32_t, Lines> cases[] = {
        {"/nonexistent/x.mp3", buf, 16, warn},
        {empty.c_str(), buf, 16, warn},
        {(dir_ / "folder.mp3").c_str(), buf, 16, warn},
        {nullptr, buf, 16, {}},
        {good.c_str(), nullptr, 16, {}},
        {good.c_str(), buf, 0, {}},
        {good.c_str(), buf, -1, {}},
    };
    for (const auto &[path, out, capacity, lines] : cases)
        EXPECT_EQ(logged([&, p = path, o = out, c = capacity] { return Zev_Mp3Decode(p, o, c); }),
                  std::make_pair(0, lines))
            << (path ? path : "null") << " " << capacity;
}

TEST_F(Mp3, ExactByteCountsCutsAndGarbage) {
    const std::string ten = silent_frames(10, false), twelve = silent_frames(12, false);
    const std::string mono = "DBG Zev_Mp3Decode :samprate:48000, channels:1\n",
                      none = "DBG Zev_Mp3Decode :samprate:0, channels:0\n";
    const int32_t big = 1 << 20;
    // The decoder trusts a frame only when the next header follows it (or the
    // file ends): the frame in front of foreign bytes goes with them. Within a
    // call it skips foreign bytes up to the next run of frames.
    const std::tuple<std::string, int32_t, int32_t, std::string> cases[] = {
        {silent_frames(1, false), big, kMono, mono},
        {silent_frames(10, true), big, 20 * kMono, "DBG Zev_Mp3Decode :samprate:48000, channels:2\n"},
        {silent_frames(300, false), big, 300 * kMono, mono},
        {ten, 1, 1, mono},
        {ten, kMono - 1, kMono - 1, mono},
        {ten, kMono, kMono, mono},
        {ten, kMono + 1, kMono + 1, mono},
        {ten, 10 * kMono - 1, 10 * kMono - 1, mono},
        {ten, 10 * kMono, 10 * kMono, mono},
        {ten, 10 * kMono + 1, 10 * kMono, mono},
        {twelve + "TAG trailing bytes, not a frame", big, 11 * kMono, mono},
        {twelve + std::string(1000, '\0'), big, 11 * kMono, mono},
        {twelve + std::string(500, 'x') + twelve, big, 23 * kMono, mono},
        {twelve.substr(0, 12 * 384 - 100), big, 11 * kMono, mono},  // the last frame cut
        {std::string(100, 'x') + twelve, big, 12 * kMono, mono},
        {"this is not an mp3 file at all\n", big, 0, none},
        {std::string(5000, '\0'), big, 0, none},
        {"\xFF\xFB", big, 0, none},
        {std::string("\xFF\xFB\x94\xC0", 4), big, 0, none},  // a lone header
    };
    for (const auto &[content, capacity, bytes, line] : cases) {
        const std::string what = std::to_string(content.size()) + "/" + std::to_string(capacity);
        EXPECT_EQ(decode(file(content), capacity), std::make_pair(bytes, Lines{line})) << what;
        EXPECT_EQ(std::count(out_.begin(), out_.begin() + bytes, 0), bytes) << what << ": silence";
    }
    // The cut leaves the file closed and unmapped: many calls in a row work.
    for (int i = 0; i < 200; ++i) ASSERT_EQ(decode(file(ten), 3).first, 3);
}

// A 440 Hz tone through lame and back: every frame is decoded, and after the
// encoder's delay the samples follow the source closely.
TEST_F(Mp3, ALameToneComesBackClosely) {
    if (COMM_LAME[0] == '\0') GTEST_SKIP() << "lame not found at configure time";
    std::vector<int16_t> tone(44100);  // one second
    for (size_t i = 0; i < tone.size(); ++i)
        tone[i] = int16_t(std::lround(12000 * std::sin(2 * M_PI * 440 * i / 44100.)));
    ASSERT_TRUE(testsupport::write_file(dir_ / "tone.raw",
                                        std::string(reinterpret_cast<char *>(tone.data()), 88200)));
    const std::string mp3 = dir_ / "tone.mp3",
                      cmd = std::string(COMM_LAME) +
                            " --quiet -r -s 44.1 --bitwidth 16 --signed --little-endian"
                            " -m m -b 128 -t " +
                            (dir_ / "tone.raw") + " " + mp3;
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    // Count the frames header to header: 128 kbit/s mono at 44.1 kHz, 417
    // bytes and one of padding when its bit is set.
    const std::string data = testsupport::read_file(mp3);
    size_t frames = 0;
    for (size_t at = 0; at + 4 <= data.size() && data.compare(at, 2, "\xFF\xFB") == 0 &&
                        (data[at + 2] & 0xFD) == 0x90 && (data[at + 3] & 0xC0) == 0xC0;
         ++frames)
        at += 417 + ((data[at + 2] >> 1) & 1);
    ASSERT_GT(frames, 30u);
    const int32_t expected = static_cast<int32_t>(frames) * kMono;
    ASSERT_EQ(decode(mp3, expected + 1000),
              std::make_pair(expected, Lines{"DBG Zev_Mp3Decode :samprate:44100, channels:1\n"}));
    // Past the encoder's delay the middle is the source's sine: fit one of
    // 440 Hz, and what it leaves is noise under 1 % (better than 20 dB).
    const auto pcm = [&](size_t i) { return double(reinterpret_cast<const int16_t *>(out_.data())[i]); };
    const auto w = [](size_t i) { return 2 * M_PI * 440 * double(i) / 44100; };
    double c = 0, s = 0, noise = 0, power = 0;
    for (size_t i = 8000; i < 28000; ++i)
        c += pcm(i) * std::cos(w(i)) / 10000, s += pcm(i) * std::sin(w(i)) / 10000;
    for (size_t i = 8000; i < 28000; ++i)
        noise += std::pow(pcm(i) - c * std::cos(w(i)) - s * std::sin(w(i)), 2), power += std::pow(pcm(i), 2);
    EXPECT_NEAR(std::hypot(c, s), 12000, 1200);  // lame scales by about 0.95
    EXPECT_LT(noise / power, 0.01) << noise / power;
    // The same samples decoded in place or through the frame buffer: at an
    // odd address, and with the last frames cut.
    for (const auto &[at, n] : {std::pair<size_t, int32_t>{1, expected}, {0, expected - 3001}}) {
        std::vector<unsigned char> buf(static_cast<size_t>(expected) + 2, kUntouched);
        ASSERT_EQ(Zev_Mp3Decode(mp3.c_str(), buf.data() + at, n), n);
        EXPECT_EQ(memcmp(buf.data() + at, out_.data(), static_cast<size_t>(n)), 0) << at;
        EXPECT_EQ(buf[at + static_cast<size_t>(n)], kUntouched) << at;
    }
}

}  // namespace
