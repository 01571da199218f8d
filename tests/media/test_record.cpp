// Recording services: MP4 header blocks built byte by byte, the capture name
// slots with a waiting thread, and the video parameters from the settings.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "comm_log.h"
#include "comm_record.h"
#include "media_test.hpp"
#include "settings_fake.hpp"
#include "tempdir.hpp"

using testsupport::Lines;
using testsupport::logged;
namespace fake = testsupport::settings_fake;

// usleep as the library calls it: counted, and in the fake mode it returns at
// once after running a hook with the call's number, so that the polls are
// counted exactly without waiting for them.
namespace {
std::atomic<int> g_sleeps{0};
std::atomic<bool> g_fake_sleep{false};
std::function<void(int)> g_on_sleep;
}  // namespace

extern "C" int usleep(useconds_t us) {
    static auto real = reinterpret_cast<int (*)(useconds_t)>(dlsym(RTLD_NEXT, "usleep"));
    const int n = g_sleeps++;
    if (!g_fake_sleep) return real(us);
    EXPECT_EQ(us, 100000u);
    if (g_on_sleep) g_on_sleep(n);
    return 0;
}

namespace {

constexpr uint32_t kUnset = 0x12345678, kNone = 0xFFFFFFFF;

std::string be32(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// 4096 bytes of anything, then the recorder's box header and a version-0
// mvhd with the given type, duration and frame-rate words.
std::string mp4(const std::string &type, uint32_t duration, uint32_t fps0, uint32_t fps1, size_t tail = 100) {
    return std::string(4096, '\x11') + be32(0x00001000) + "moov" +             // enclosing box header
           be32(108) + type + be32(0) + be32(0xAAAAAAAA) + be32(0xBBBBBBBB) +  // size, type, version, times
           be32(1000) + be32(duration) +                            // timescale (ignored), duration
           be32(0x00010000) + std::string("\x01\x00\x00\x00", 4) +  // rate, volume, reserved
           be32(fps0) + be32(fps1) + std::string(tail, '\0');
}

TEST(Mp4Probe, HeaderBlocks) {
    Zev_Comm_SetPrintLev(7);
    testsupport::TempDir dir;
    const bool root = geteuid() == 0;  // root opens a read-only file anyway
    const std::string short_block = mp4("mvhd", 7, 8, 9, 0);
    const struct {
        const char *what;
        const char *name;  // "": the folder itself
        std::string content;
        mode_t mode;  // 0: not written
        int32_t result;
        uint32_t duration, fps0, fps1;
    } cases[] = {
        {"duration 60000", "a.mp4", mp4("mvhd", 0xEA60, 0x1E, 0x7530), 0600, 0, 60000, 30, 30000},
        {"big-endian words", "a.mp4", mp4("mvhd", 0x01020304, 0xFFFFFFFE, 0x80000000), 0600, 0, 0x01020304,
         0xFFFFFFFE, 0x80000000},
        {"exactly 4148 bytes", "a.mp4", short_block, 0600, 0, 7, 8, 9},
        {"one byte short", "a.mp4", short_block.substr(0, 4147), 0600, -6, kUnset, kUnset, kUnset},
        {"shorter than the offset", "a.mp4", std::string(100, 'x'), 0600, -6, kUnset, kUnset, kUnset},
        {"empty", "a.mp4", "", 0600, -6, kUnset, kUnset, kUnset},
        {"another box", "a.mp4", mp4("trak", 1, 2, 3), 0600, -7, kNone, kNone, kNone},
        {"type case", "a.mp4", mp4("MVHD", 1, 2, 3), 0600, -7, kNone, kNone, kNone},
        {"missing", "missing.mp4", "", 0, -4, kUnset, kUnset, kUnset},
        {"a folder", "", "", 0, -4, kUnset, kUnset, kUnset},
        {"read-only", "ro.mp4", mp4("mvhd", 1, 2, 3), 0400, -4, kUnset, kUnset, kUnset},
    };
    for (const auto &c : cases) {
        if (root && c.mode == 0400) continue;
        const std::string path = *c.name ? dir / c.name : dir.path();
        if (c.mode != 0) {
            ASSERT_TRUE(testsupport::write_file(path, c.content));
            ASSERT_EQ(chmod(path.c_str(), c.mode), 0);
        }
        uint32_t d = kUnset, f0 = kUnset, f1 = kUnset;
        const auto [r, lines] =
            logged([&] { return Zev_Comm_GetFileDurationMsAndFps(path.c_str(), &d, &f0, &f1); });
        EXPECT_EQ(r, c.result) << c.what;
        EXPECT_EQ(std::vector<uint32_t>({d, f0, f1}), std::vector<uint32_t>({c.duration, c.fps0, c.fps1}))
            << c.what;
        const Lines logged_ret = {"VER Zev_Comm_GetFileDurationMsAndFps :[" + path +
                                  "] ret = " + std::to_string(c.result) + "\n"};
        EXPECT_EQ(lines, c.result == -6 || c.result == -4 ? logged_ret : Lines{}) << c.what;
    }
    uint32_t w = kUnset;
    EXPECT_EQ(Zev_Comm_GetFileDurationMsAndFps(nullptr, &w, &w, &w), -1);
    EXPECT_EQ(Zev_Comm_GetFileDurationMsAndFps((dir / "a.mp4").c_str(), &w, nullptr, &w), -1);
    EXPECT_EQ(w, kUnset);
}

class CaptureSlots : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(5);
        for (int s = 0; s < 3; ++s) SetCaptureFileName(nullptr, s);
        g_sleeps = 0;
        g_fake_sleep = true;
        g_on_sleep = nullptr;
    }
    void TearDown() override {
        g_fake_sleep = false;
        g_on_sleep = nullptr;
    }
    std::string wait(int32_t ms) { return WaitforCaptureComplate(ms); }
};

TEST_F(CaptureSlots, PollCountsAndLines) {
    const std::string timeout = "WAR WaitforCaptureComplate :timeout!\n",
                      got = "DBG WaitforCaptureComplate :got ";
    const struct {
        const char *what;
        const char *before;  // the slot's name when the wait starts
        int32_t timeout;
        int name_at;  // usleep call after which slot 0 gets "new"; -1 never
        int sleeps;
        std::string result, line;
    } cases[] = {
        {"99: no poll", nullptr, 99, 0, 0, "", timeout},
        {"0: no poll", nullptr, 0, 0, 0, "", timeout},
        {"negative: no poll", nullptr, -500, 0, 0, "", timeout},
        {"99 does not look at a name", "old", 99, -1, 0, "old", timeout},
        {"100: one poll", nullptr, 100, -1, 1, "", timeout},
        {"250: two polls", nullptr, 250, -1, 2, "", timeout},
        {"a name from before", "old", 1000, -1, 1, "old", got + "old (0/10)\n"},
        {"name in the first", nullptr, 1000, 0, 1, "new", got + "new (0/10)\n"},
        {"name in the fourth", nullptr, 1000, 3, 4, "new", got + "new (3/10)\n"},
        {"name in the last", nullptr, 1099, 9, 10, "new", got + "new (9/10)\n"},
    };
    for (const auto &c : cases) {
        SetCaptureFileName(c.before, 0);
        g_sleeps = 0;
        g_on_sleep = [&](int n) {
            if (n == c.name_at) SetCaptureFileName("new", 0);
        };
        EXPECT_EQ(logged([&] { return wait(c.timeout); }), std::make_pair(c.result, Lines{c.line})) << c.what;
        EXPECT_EQ(g_sleeps, c.sleeps) << c.what;
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
    SetCaptureFileName("", 0);
    EXPECT_EQ(wait(100), "");
}

TEST_F(CaptureSlots, AnotherThreadHandsOverTheName) {
    g_fake_sleep = false;  // real 100 ms polls
    Zev_Comm_SetPrintLev(1);
    for (int round = 0; round < 3; ++round) {
        SetCaptureFileName(nullptr, 0);
        std::atomic<bool> waiting{false};
        std::string got;
        std::thread waiter([&] {
            waiting = true;
            got = wait(60000);
        });
        while (!waiting) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(30 * round));
        SetCaptureFileName("/mnt/sd/DCIM/IMG_0001.JPG", 0);
        waiter.join();
        EXPECT_EQ(got, "/mnt/sd/DCIM/IMG_0001.JPG") << round;
    }
}

TEST(VideoParameters, HeightFromTheSettingAndTheFixedRate) {
    const struct {
        const char *value;  // null: no value stored
        int32_t height;
    } cases[] = {
        {nullptr, 0},           {"", 0},
        {"2560x1440P30", 1296}, {"1920x1080P30", 1080},
        {"1280x720P30", 1296},  {"1920x1080P30 ", 1296},
        {"1920x1080p30", 1296}, {"1920x1080P60", 1296},
    };
    for (const auto &c : cases) {
        fake::reset();
        if (c.value != nullptr) fake::set_value("Camera.Menu.VideoRes", c.value);
        EXPECT_EQ(Zev_Comm_GetVideoHight(), c.height) << (c.value ? c.value : "(none)");
        EXPECT_EQ(fake::calls(), std::vector<std::string>{"Get Camera.Menu.VideoRes 64"});
        EXPECT_EQ(Zev_Comm_GetVideoFps(), 30000);
    }
}

}  // namespace
