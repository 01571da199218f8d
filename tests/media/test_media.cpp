// SPDX-License-Identifier: MIT
// MP3 decoding, MP4 header blocks and the capture name slots.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <tuple>

#include "comm_log.h"
#include "comm_mp3.h"
#include "comm_record.h"
#include "comm_sys.h"
#include "media_test.hpp"
#include "minimp3.h"
#include "tempdir.hpp"

using namespace testsupport;

// usleep as the library calls it: counted, and in the fake mode it returns at
// once, after naming slot 0 "new" when the call's number is g_name_at.
namespace {
std::atomic<int> g_sleeps{0}, g_name_at{-1};
std::atomic<bool> g_fake_sleep{false};
}  // namespace

extern "C" int usleep(useconds_t us) {
    static auto real = reinterpret_cast<int (*)(useconds_t)>(dlsym(RTLD_NEXT, "usleep"));
    const int n = g_sleeps++;
    if (!g_fake_sleep) return real(us);
    EXPECT_EQ(us, 100000u);
    if (n == g_name_at) SetCaptureFileName("new", 0);
    return 0;
}

namespace {

constexpr int32_t kMono = 1152 * 2;  // PCM bytes of one frame
constexpr unsigned char kUntouched = 0xA5;

class Mp3 : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(5); }
    std::string file(const std::string &content) const {
        EXPECT_TRUE(write_file(dir_ / "in.mp3", content));
        return dir_ / "in.mp3";
    }
    // Decodes into `capacity` bytes and a guard that must stay untouched.
    std::pair<int32_t, Lines> decode(const std::string &path, int32_t capacity) {
        out_.assign(static_cast<size_t>(capacity) + 64, kUntouched);
        const auto got = logged([&] { return Zev_Mp3Decode(path.c_str(), out_.data(), capacity); });
        const auto behind = out_.begin() + std::max(got.first, 0);
        EXPECT_EQ(std::count(behind, out_.end(), kUntouched), out_.end() - behind)
            << "written behind the result";
        return got;
    }
    TempDir dir_;
    std::vector<unsigned char> out_;
};

TEST_F(Mp3, FailuresGiveZero) {
    const std::string empty = dir_ / "empty.mp3", folder = dir_ / "folder",
                      good = file(silent_frames(10, false));
    ASSERT_TRUE(write_file(empty, "") && mkdir(folder.c_str(), 0700) == 0);
    const Lines warn = {"WAR Zev_Mp3Decode :mp3decoder_init error!\n"};
    char buf[16];
    // clang-format off
    const std::tuple<const char *, void *, int32_t, Lines> cases[] = {{"/nonexistent/x.mp3", buf, 16, warn},
        {empty.c_str(), buf, 16, warn}, {folder.c_str(), buf, 16, warn}, {nullptr, buf, 16, {}},
        {good.c_str(), nullptr, 16, {}}, {good.c_str(), buf, 0, {}}, {good.c_str(), buf, -1, {}}};
    // clang-format on
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
    // clang-format off
    const std::tuple<std::string, int32_t, int32_t, std::string> cases[] = {
        {silent_frames(1, false), big, kMono, mono}, {silent_frames(300, false), big, 300 * kMono, mono},
        {silent_frames(10, true), big, 20 * kMono, "DBG Zev_Mp3Decode :samprate:48000, channels:2\n"},
        {ten, kMono - 1, kMono - 1, mono}, {ten, kMono + 1, kMono + 1, mono},
        {ten, 10 * kMono, 10 * kMono, mono}, {ten, 10 * kMono + 1, 10 * kMono, mono},
        {twelve + "TAG trailing bytes, not a frame", big, 11 * kMono, mono},
        {twelve + std::string(1000, '\0'), big, 11 * kMono, mono},
        {twelve + std::string(500, 'x') + twelve, big, 23 * kMono, mono},
        {twelve.substr(0, 12 * 384 - 100), big, 11 * kMono, mono},  // the last frame cut
        {std::string(100, 'x') + twelve, big, 12 * kMono, mono}, {std::string(5000, '\0'), big, 0, none},
        {"\xFF\xFB", big, 0, none}, {std::string("\xFF\xFB\x94\xC0", 4), big, 0, none}};  // a lone header
    // clang-format on
    for (const auto &[content, capacity, bytes, line] : cases) {
        EXPECT_EQ(decode(file(content), capacity), std::make_pair(bytes, Lines{line}))
            << content.size() << "/" << capacity;
        EXPECT_EQ(std::count(out_.begin(), out_.begin() + bytes, 0), bytes) << content.size() << ": silence";
    }
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(decode(file(ten), 3).first, 3);  // closed and unmapped after a cut
}

// Mixed layers and rates: whether a frame is decoded straight into pOut must
// follow the frame decoded next, not the one before. A Layer II frame that
// runs out of bits in its first granule has already made 384 samples; none
// of them may land behind the result, at an even or an odd address.
TEST_F(Mp3, NothingBehindTheResultAcrossLayersAndRates) {
    const auto frames = [](const char *header, size_t size, char fill, size_t n) {
        std::string s;
        for (size_t i = 0; i < n; ++i) s += std::string(header, 4) + std::string(size - 4, fill);
        return s;
    };
    const std::string l2_cut = frames("\xFF\xFD\x74\xC0", 336, '\xFF', 3),  // 112 kbit/s, 48 kHz
        l3_32k = frames("\xFF\xFB\x98\xC0", 576, '\0', 12);                 // 128 kbit/s, 32 kHz
    // clang-format off
    const std::pair<std::string, int32_t> streams[] = {
        {silent_frames(12, false) + l2_cut, 11 * kMono}, {silent_frames(12, true) + l2_cut, 22 * kMono},
        {silent_frames(12, false) + l3_32k + l2_cut, 22 * kMono},  // a frame lost at each change
        {l3_32k + silent_frames(12, true) + l2_cut, 11 * kMono + 22 * kMono}, {l2_cut, 0}};
    // clang-format on
    constexpr int32_t kCapacity = 1 << 17;
    std::vector<unsigned char> buf(kCapacity + 1);
    Zev_Comm_SetPrintLev(0);
    for (const auto &[stream, want] : streams) {
        const std::string path = file(stream);
        for (size_t at : {0, 1}) {
            std::fill(buf.begin(), buf.end(), kUntouched);
            const int32_t got = Zev_Mp3Decode(path.c_str(), buf.data() + at, kCapacity);
            EXPECT_EQ(got, want) << stream.size() << " at " << at;
            const auto behind = buf.begin() + static_cast<long>(at) + std::max(got, 0);
            EXPECT_EQ(std::count(behind, buf.end(), kUntouched), buf.end() - behind)
                << stream.size() << " at " << at;
        }
    }
}

// On threads made by the library, a stack too small for the decoder gives 0,
// a WAR line with the room and the need, and nothing written; a big enough
// one decodes as the main thread does. The same for minimp3's frame decoder,
// which the library exports.
struct DecodeJob {
    bool frame;  // one mp3dec_decode_frame call instead of Zev_Mp3Decode
    const std::string *content;
    const char *path;
    unsigned char *out;
    int32_t capacity;
    int32_t got;
    mp3dec_t dec;  // off the small stack
    mp3dec_frame_info_t info;
};

void *decode_job(void *arg) {  // as little as possible on the small stack
    auto *job = static_cast<DecodeJob *>(arg);
    if (!job->frame) {
        job->got = Zev_Mp3Decode(job->path, job->out, job->capacity);
        return nullptr;
    }
    mp3dec_init(&job->dec);
    job->got = mp3dec_decode_frame(&job->dec, reinterpret_cast<const uint8_t *>(job->content->data()),
                                   static_cast<int>(job->content->size()),
                                   reinterpret_cast<int16_t *>(job->out), &job->info);
    return nullptr;
}

TEST_F(Mp3, SmallThreadStacksAreRefusedNotOverrun) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer gives every thread a large stack, whatever size is asked for";
#endif
    const std::string content = silent_frames(10, false), path = file(content);
    const int32_t whole = 10 * kMono;
    // clang-format off
    const struct { int32_t stack; bool frame, decodes; } cases[] = {{16384, false, false}, {32768, false, false},
        {65536, false, true}, {1 << 20, false, true}, {16384, true, false}, {65536, true, true}};
    // clang-format on
    for (const auto &c : cases) {
        const std::string func = c.frame ? "mp3dec_decode_frame" : "Zev_Mp3Decode";
        out_.assign(static_cast<size_t>(whole), kUntouched);
        auto job = std::make_unique<DecodeJob>(
            DecodeJob{c.frame, &content, path.c_str(), out_.data(), whole, -1, {}, {}});
        job->info.frame_bytes = -1;
        const Lines lines = summarise(capture_stdout([&] {
            pthread_t t;
            ASSERT_EQ(Zev_Comm_CreateThreadEx(&t, decode_job, c.stack, job.get()), 0);
            pthread_join(t, nullptr);
        }));
        if (c.decodes) {
            EXPECT_EQ(job->got, c.frame ? 1152 : whole) << func << " " << c.stack;
            EXPECT_EQ(lines, c.frame ? Lines{} : Lines{"DBG Zev_Mp3Decode :samprate:48000, channels:1\n"})
                << c.stack;
            continue;
        }
        EXPECT_EQ(job->got, 0) << func << " " << c.stack;
        EXPECT_EQ(std::count(out_.begin(), out_.end(), kUntouched), whole) << c.stack << ": nothing written";
        EXPECT_EQ(job->info.frame_bytes, c.frame ? 0 : -1) << "no frame reported";
        unsigned room = 0, need = 0;
        ASSERT_EQ(lines.size(), 1u) << c.stack;
        ASSERT_EQ(sscanf(lines[0].c_str(),
                         ("WAR " + func + " :stack room %u bytes, decoding needs %u").c_str(), &room, &need),
                  2)
            << lines[0];
        EXPECT_LT(room, need);
        EXPECT_LT(room, static_cast<unsigned>(c.stack));
    }
}

// A 440 Hz tone through lame and back: every frame is decoded, and after the
// encoder's delay the samples follow the source closely.
TEST_F(Mp3, ALameToneComesBackClosely) {
    if (COMM_LAME[0] == '\0') GTEST_SKIP() << "lame not found at configure time";
    std::string tone;  // one second of 16-bit samples
    for (int i = 0; i < 44100; ++i) {
        const auto v = int16_t(std::lround(12000 * std::sin(2 * M_PI * 440 * i / 44100.)));
        tone.append(reinterpret_cast<const char *>(&v), 2);
    }
    const std::string raw = dir_ / "tone.raw", mp3 = dir_ / "tone.mp3";
    ASSERT_TRUE(write_file(raw, tone));
    const std::string cmd = std::string(COMM_LAME) + " --quiet -r -s 44.1 --bitwidth 16 --signed " +
                            "--little-endian -m m -b 128 -t " + raw + " " + mp3;
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    // Count the frames header to header: 128 kbit/s mono at 44.1 kHz, 417
    // bytes and one of padding when its bit is set.
    const std::string data = read_file(mp3);
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

constexpr uint32_t kUnset = 0x12345678, kNone = 0xFFFFFFFF;

std::string be32(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// 4096 bytes of anything, the recorder's box header, then a version-0 mvhd
// with the given type, duration and frame-rate words.
std::string mp4(const std::string &type, uint32_t duration, uint32_t fps0, uint32_t fps1, size_t tail = 100) {
    return std::string(4096, '\x11') + be32(0x1000) + "moov" + be32(108) + type + be32(0) + be32(0xAAAAAAAA) +
           be32(0xBBBBBBBB) + be32(1000) + be32(duration) + be32(0x00010000) + "\x01" + std::string(3, '\0') +
           be32(fps0) + be32(fps1) + std::string(tail, '\0');
}

TEST(Mp4Probe, HeaderBlocks) {
    Zev_Comm_SetPrintLev(7);
    TempDir dir;
    const std::string block = mp4("mvhd", 7, 8, 9, 0);
    const uint32_t u = kUnset, n = kNone;
    // Name, content, mode (0: not written), result, the three words.
    const std::tuple<std::string, std::string, mode_t, int32_t, uint32_t, uint32_t, uint32_t> cases[] = {
        // clang-format off
        {"a", mp4("mvhd", 60000, 30, 30000), 0600, 0, 60000, 30, 30000},
        {"a", mp4("mvhd", 0x01020304, 0xFFFFFFFE, 0x80000000), 0600, 0, 0x01020304, 0xFFFFFFFE, 0x80000000},
        {"a", block, 0600, 0, 7, 8, 9},  /* exactly 4148 bytes */  {"a", block.substr(0, 4147), 0600, -6, u, u, u},
        {"a", "", 0600, -6, u, u, u}, {"a", mp4("trak", 1, 2, 3), 0600, -7, n, n, n},
        {"a", mp4("MVHD", 1, 2, 3), 0600, -7, n, n, n}, {"missing", "", 0, -4, u, u, u},
        {"read-only", mp4("mvhd", 1, 2, 3), 0400, -4, u, u, u}};
    // clang-format on
    for (const auto &[name, content, mode, result, d0, f0, f1] : cases) {
        if (mode == 0400 && geteuid() == 0) continue;  // root opens it anyway
        const std::string path = dir / name;
        ASSERT_TRUE(mode == 0 || (write_file(path, content) && chmod(path.c_str(), mode) == 0));
        uint32_t w[3] = {kUnset, kUnset, kUnset};
        const std::string ret = "VER Zev_Comm_GetFileDurationMsAndFps :[" + path + "] ret = ";
        const Lines lines =
            result == -6 || result == -4 ? Lines{ret + std::to_string(result) + "\n"} : Lines{};
        EXPECT_EQ(logged([&] { return Zev_Comm_GetFileDurationMsAndFps(path.c_str(), w, w + 1, w + 2); }),
                  std::make_pair(result, lines))
            << name << content.size();
        EXPECT_EQ(std::make_tuple(w[0], w[1], w[2]), std::make_tuple(d0, f0, f1)) << name << content.size();
    }
    uint32_t w = kUnset;
    EXPECT_EQ(Zev_Comm_GetFileDurationMsAndFps(nullptr, &w, &w, &w), -1);
    EXPECT_EQ(Zev_Comm_GetFileDurationMsAndFps((dir / "a").c_str(), &w, nullptr, &w), -1);
    EXPECT_EQ(w, kUnset);
}

class CaptureSlots : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(5);
        for (int s = 0; s < 3; ++s) SetCaptureFileName(nullptr, s);
        g_sleeps = 0;
        g_fake_sleep = true;
    }
    void TearDown() override { g_fake_sleep = false, g_name_at = -1; }
    std::string wait(int32_t ms) { return WaitforCaptureComplate(ms); }
};

TEST_F(CaptureSlots, PollCountsAndLines) {
    const std::string timeout = "WAR WaitforCaptureComplate :timeout!\n",
                      got = "DBG WaitforCaptureComplate :got ";
    // The name before ("-" none), time-out, g_name_at, usleep calls, result, line.
    const std::string kLong = "A" + std::string(299, 'n');
    const std::tuple<std::string, int32_t, int, int, std::string, std::string> cases[] = {
        // clang-format off
        {"-", 99, 0, 0, "", timeout}, {"old", 99, -1, 0, "old", timeout},  // 99 does not even look
        {"-", 100, -1, 1, "", timeout}, {"-", 250, -1, 2, "", timeout},
        {kLong, 1000, -1, 1, kLong.substr(0, 71), got + kLong.substr(0, 71) + " (0/10)\n"},  // cut to the slot
        {"old", 1000, -1, 1, "old", got + "old (0/10)\n"},  // nothing of the longer name behind
        {"-", 1000, 0, 1, "new", got + "new (0/10)\n"}, {"-", 1000, 3, 4, "new", got + "new (3/10)\n"},
        {"-", 1099, 9, 10, "new", got + "new (9/10)\n"}};
    // clang-format on
    for (const auto &[before, ms, name_at, sleeps, result, line] : cases) {
        SetCaptureFileName(before == "-" ? nullptr : before.c_str(), 0);
        g_sleeps = 0;
        g_name_at = name_at;
        EXPECT_EQ(logged([&, t = ms] { return wait(t); }), std::make_pair(result, Lines{line})) << ms;
        EXPECT_EQ(g_sleeps, sleeps) << ms;
    }
}

TEST_F(CaptureSlots, AnotherThreadHandsOverTheName) {
    g_fake_sleep = false;  // real 100 ms polls
    Zev_Comm_SetPrintLev(1);
    std::atomic<bool> waiting{false};
    std::string got;
    std::thread waiter([&] {
        waiting = true;
        got = wait(60000);
    });
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    SetCaptureFileName("/mnt/sd/DCIM/IMG_0001.JPG", 0);
    waiter.join();
    EXPECT_EQ(got, "/mnt/sd/DCIM/IMG_0001.JPG");
}

}  // namespace
