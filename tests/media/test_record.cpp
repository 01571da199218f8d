// Recording services: MP4 header blocks built byte by byte, the capture name
// slots with a waiting thread, and the video parameters from the settings.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <tuple>

#include "comm_log.h"
#include "comm_record.h"
#include "media_test.hpp"
#include "settings_fake.hpp"
#include "tempdir.hpp"

using testsupport::Lines;
using testsupport::logged;
namespace fake = testsupport::settings_fake;

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
    testsupport::TempDir dir;
    const std::string block = mp4("mvhd", 7, 8, 9, 0);
    const uint32_t u = kUnset, n = kNone;
    // Name ("" the folder itself), content, mode (0: not written), result, the three words.
    const std::tuple<std::string, std::string, mode_t, int32_t, uint32_t, uint32_t, uint32_t> cases[] = {
        {"a", mp4("mvhd", 60000, 30, 30000), 0600, 0, 60000, 30, 30000},
        {"a", mp4("mvhd", 0x01020304, 0xFFFFFFFE, 0x80000000), 0600, 0, 0x01020304, 0xFFFFFFFE, 0x80000000},
        {"a", block, 0600, 0, 7, 8, 9},  // exactly 4148 bytes
        {"a", block.substr(0, 4147), 0600, -6, u, u, u},
        {"a", std::string(100, 'x'), 0600, -6, u, u, u},
        {"a", "", 0600, -6, u, u, u},
        {"a", mp4("trak", 1, 2, 3), 0600, -7, n, n, n},
        {"a", mp4("MVHD", 1, 2, 3), 0600, -7, n, n, n},
        {"missing", "", 0, -4, u, u, u},
        {"", "", 0, -4, u, u, u},
        {"read-only", mp4("mvhd", 1, 2, 3), 0400, -4, u, u, u},
    };
    for (const auto &[name, content, mode, result, d0, f0, f1] : cases) {
        if (mode == 0400 && geteuid() == 0) continue;  // root opens it anyway
        const std::string path = name.empty() ? dir.path() : dir / name;
        ASSERT_TRUE(mode == 0 || (testsupport::write_file(path, content) && chmod(path.c_str(), mode) == 0));
        uint32_t w[3] = {kUnset, kUnset, kUnset};
        const auto got =
            logged([&] { return Zev_Comm_GetFileDurationMsAndFps(path.c_str(), w, w + 1, w + 2); });
        const std::string ret = "VER Zev_Comm_GetFileDurationMsAndFps :[" + path + "] ret = ";
        EXPECT_EQ(got, std::make_pair(result, result == -6 || result == -4
                                                  ? Lines{ret + std::to_string(result) + "\n"}
                                                  : Lines{}))
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
    // The name before, time-out, g_name_at, usleep calls, result, line.
    const std::tuple<const char *, int32_t, int, int, std::string, std::string> cases[] = {
        {nullptr, 99, 0, 0, "", timeout},
        {nullptr, 0, 0, 0, "", timeout},
        {nullptr, -500, 0, 0, "", timeout},
        {"old", 99, -1, 0, "old", timeout},  // 99 does not even look
        {nullptr, 100, -1, 1, "", timeout},
        {nullptr, 250, -1, 2, "", timeout},
        {"old", 1000, -1, 1, "old", got + "old (0/10)\n"},
        {nullptr, 1000, 0, 1, "new", got + "new (0/10)\n"},
        {nullptr, 1000, 3, 4, "new", got + "new (3/10)\n"},
        {nullptr, 1099, 9, 10, "new", got + "new (9/10)\n"},
    };
    for (const auto &[before, ms, name_at, sleeps, result, line] : cases) {
        SetCaptureFileName(before, 0);
        g_sleeps = 0;
        g_name_at = name_at;
        EXPECT_EQ(logged([&, t = ms] { return wait(t); }), std::make_pair(result, Lines{line})) << ms;
        EXPECT_EQ(g_sleeps, sleeps) << ms;
    }
}

TEST_F(CaptureSlots, SlotsNamesAndTheirLength) {
    for (const int slot : {1, 2, 3, -1}) SetCaptureFileName("other", slot);
    SetCaptureFileName(nullptr, 3);
    EXPECT_EQ(wait(300), "");  // slot 0 stayed empty
    EXPECT_EQ(g_sleeps, 3);
    SetCaptureFileName("zero", 0);
    SetCaptureFileName(nullptr, 1);  // clearing another slot leaves 0 alone
    EXPECT_EQ(wait(100), "zero");
    for (const auto &[length, kept] : {std::pair<size_t, size_t>{1, 1}, {71, 71}, {72, 71}, {300, 71}}) {
        const std::string name = "A" + std::string(length - 1, 'n');
        SetCaptureFileName(name.c_str(), 0);
        EXPECT_EQ(wait(100), name.substr(0, kept)) << length;
        SetCaptureFileName("b", 0);  // nothing of the longer name stays behind
        EXPECT_EQ(wait(100), "b");
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

TEST(VideoParameters, HeightFromTheSettingAndTheFixedRate) {
    const std::pair<const char *, int32_t> cases[] = {
        {nullptr, 0},           {"", 0},
        {"2560x1440P30", 1296}, {"1920x1080P30", 1080},
        {"1280x720P30", 1296},  {"1920x1080P30 ", 1296},
        {"1920x1080p30", 1296}, {"1920x1080P60", 1296},
    };
    for (const auto &[value, height] : cases) {
        fake::reset();
        if (value != nullptr) fake::set_value("Camera.Menu.VideoRes", value);
        EXPECT_EQ(Zev_Comm_GetVideoHight(), height) << (value ? value : "(none)");
        EXPECT_EQ(fake::calls(), std::vector<std::string>{"Get Camera.Menu.VideoRes 64"});
        EXPECT_EQ(Zev_Comm_GetVideoFps(), 30000);
    }
}

}  // namespace
