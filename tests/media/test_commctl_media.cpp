// commctl's media commands: tone to WAV, MP3 to WAV through the library,
// the recording header and the video parameters, with their failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "../sim/run.hpp"
#include "mp3_frames.hpp"
#include "tempdir.hpp"

using testsupport::read_file;
using testsupport::run;
using testsupport::RunResult;

namespace {

uint32_t le(const std::string &s, size_t at, int bytes) {
    uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(s[at + static_cast<size_t>(i)]);
    return v;
}

RunResult commctl(const std::vector<std::string> &args, const std::vector<std::string> &env = {}) {
    std::vector<std::string> argv = {COMMCTL_EXE, "--level", "0"};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(argv, env);
}

TEST(CommctlMedia, Mp3ToWavHasTheFramesShape) {
    testsupport::TempDir dir;
    const struct {
        const char *what;
        size_t frames;
        bool stereo;
    } cases[] = {{"mono", 7, false}, {"stereo", 12, true}};
    for (const auto &c : cases) {
        ASSERT_TRUE(testsupport::write_file(dir / "in.mp3", testsupport::silent_frames(c.frames, c.stereo)));
        const RunResult r = commctl({"mp3", dir / "in.mp3", dir / "out.wav"});
        ASSERT_EQ(r.status, 0) << r.err;
        const std::string wav = read_file(dir / "out.wav");
        const uint32_t channels = c.stereo ? 2 : 1;
        const uint32_t data = static_cast<uint32_t>(c.frames * 1152 * 2 * channels);
        ASSERT_EQ(wav.size(), 44 + data) << c.what;
        EXPECT_EQ(wav.substr(0, 4), "RIFF");
        EXPECT_EQ(le(wav, 4, 4), 36 + data);
        EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
        EXPECT_EQ(le(wav, 20, 2), 1u);  // PCM
        EXPECT_EQ(le(wav, 22, 2), channels) << c.what;
        EXPECT_EQ(le(wav, 24, 4), 48000u);
        EXPECT_EQ(le(wav, 28, 4), 48000u * 2 * channels);
        EXPECT_EQ(le(wav, 34, 2), 16u);
        EXPECT_EQ(wav.substr(36, 4), "data");
        EXPECT_EQ(le(wav, 40, 4), data) << c.what;
    }
}

TEST(CommctlMedia, ToneThenLameThenBack) {
    const char *lame = COMM_LAME;
    if (lame[0] == '\0') GTEST_SKIP() << "lame not found at configure time";
    testsupport::TempDir dir;
    ASSERT_EQ(commctl({"tone", "500", "440", dir / "t.wav"}).status, 0);
    EXPECT_EQ(read_file(dir / "t.wav").size(), 44u + 22050u * 2);
    ASSERT_EQ(run({lame, "--quiet", "-t", dir / "t.wav", dir / "t.mp3"}).status, 0);
    const size_t frames = testsupport::count_frames(read_file(dir / "t.mp3"));
    const RunResult r = commctl({"mp3", dir / "t.mp3", dir / "back.wav"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(read_file(dir / "back.wav").size(), 44 + frames * 1152 * 2);
}

TEST(CommctlMedia, FailuresAreOneLineAndAStatus) {
    testsupport::TempDir dir;
    ASSERT_TRUE(testsupport::write_file(dir / "junk.mp3", "no frames in here"));
    ASSERT_TRUE(testsupport::write_file(dir / "short.mp4", std::string(100, 'x')));
    const struct {
        std::vector<std::string> args;
        int status;
    } cases[] = {
        {{"mp3", dir / "missing.mp3", dir / "o.wav"}, 1},
        {{"mp3", dir / "junk.mp3", dir / "o.wav"}, 1},
        {{"mp3", dir / "junk.mp3"}, 2},
        {{"tone", "0", "440", dir / "o.wav"}, 2},
        {{"tone", "100", "30000", dir / "o.wav"}, 2},
        {{"mp4", dir / "short.mp4"}, 1},
        {{"mp4", dir / "missing.mp4"}, 1},
        {{"mp4"}, 2},
        {{"video", "extra"}, 2},
    };
    for (const auto &c : cases) {
        const RunResult r = commctl(c.args);
        EXPECT_EQ(r.status, c.status) << c.args[0] << " " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(r.err.rfind("commctl: ", 0), 0u) << r.err;
    }
}

TEST(CommctlMedia, VideoFollowsTheSettingsFile) {
    testsupport::TempDir dir;
    const struct {
        std::string file;
        std::string out;
    } cases[] = {
        {"", "height 0\nfps    30000 (thousandths)\n"},
        {"Camera.Menu.VideoRes=1920x1080P30\n", "height 1080\nfps    30000 (thousandths)\n"},
        {"Camera.Menu.VideoRes=2560x1440P30\n", "height 1296\nfps    30000 (thousandths)\n"},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(testsupport::write_file(dir / "settings.conf", c.file));
        const RunResult r = commctl({"video"}, {"ZEV_SETTINGS_FILE=" + (dir / "settings.conf")});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, c.out);
    }
}

}  // namespace
