// Recording services: MP4 header blocks built byte by byte, the capture name
// slots with a waiting thread, and the video parameters from the settings.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_record.h"
#include "log_lines.hpp"
#include "settings_fake.hpp"
#include "tempdir.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;
using Lines = std::vector<std::string>;
namespace fake = testsupport::settings_fake;

// usleep as the library calls it: counted, and in the fake mode it returns
// at once after running a hook with the call's number, so that the polls
// are counted exactly without waiting for them.
namespace {
std::atomic<int> g_sleeps{0};
std::atomic<bool> g_fake_sleep{false};
std::function<void(int)> g_on_sleep;
}  // namespace

extern "C" int usleep(useconds_t us) {
    using Real = int (*)(useconds_t);
    static Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "usleep"));
    const int n = g_sleeps++;
    if (!g_fake_sleep) return real(us);
    EXPECT_EQ(us, 100000u);
    if (g_on_sleep) g_on_sleep(n);
    return 0;
}

namespace {

constexpr uint32_t kUnset = 0x12345678;

std::string be32(uint32_t v) {
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
            static_cast<char>(v)};
}

// 4096 bytes of anything, then the recorder's box header and a version-0
// mvhd with the given type, duration and frame-rate words.
std::string mp4(const std::string &type, uint32_t duration, uint32_t fps0, uint32_t fps1, size_t tail = 100) {
    std::string f(4096, '\x11');
    f += be32(0x00001000) + "moov";                              // enclosing box header
    f += be32(108) + type;                                       // mvhd size and type
    f += be32(0) + be32(0xAAAAAAAA) + be32(0xBBBBBBBB);          // version/flags, times
    f += be32(1000) + be32(duration);                            // timescale (ignored), duration
    f += be32(0x00010000) + std::string("\x01\x00\x00\x00", 4);  // rate, volume, reserved
    f += be32(fps0) + be32(fps1);
    f += std::string(tail, '\0');
    return f;
}

TEST(Mp4Probe, HeaderBlocks) {
    Zev_Comm_SetPrintLev(7);
    testsupport::TempDir dir;
    const std::string good = mp4("mvhd", 0x0000EA60, 0x0000001E, 0x00007530);
    const struct {
        const char *what;
        std::string content;
        mode_t mode;
        int32_t result;
        uint32_t duration, fps0, fps1;
    } cases[] = {
        {"duration 60000", good, 0600, 0, 60000, 30, 30000},
        {"big-endian words", mp4("mvhd", 0x01020304, 0xFFFFFFFE, 0x80000000), 0600, 0, 0x01020304, 0xFFFFFFFE,
         0x80000000},
        {"exactly 4148 bytes", mp4("mvhd", 7, 8, 9, 0), 0600, 0, 7, 8, 9},
        {"one byte short", mp4("mvhd", 7, 8, 9, 0).substr(0, 4147), 0600, -6, kUnset, kUnset, kUnset},
        {"shorter than the offset", std::string(100, 'x'), 0600, -6, kUnset, kUnset, kUnset},
        {"empty", "", 0600, -6, kUnset, kUnset, kUnset},
        {"another box", mp4("trak", 1, 2, 3), 0600, -7, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF},
        {"type case", mp4("MVHD", 1, 2, 3), 0600, -7, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto &c : cases) {
        const std::string path = dir / "clip.mp4";
        ASSERT_TRUE(testsupport::write_file(path, c.content));
        chmod(path.c_str(), c.mode);
        uint32_t d = kUnset, f0 = kUnset, f1 = kUnset;
        int32_t r = 0;
        const auto lines = summarise(
            capture_stdout([&] { r = Zev_Comm_GetFileDurationMsAndFps(path.c_str(), &d, &f0, &f1); }));
        EXPECT_EQ(r, c.result) << c.what;
        EXPECT_EQ(d, c.duration) << c.what;
        EXPECT_EQ(f0, c.fps0) << c.what;
        EXPECT_EQ(f1, c.fps1) << c.what;
        if (c.result == -6)
            EXPECT_EQ(lines, Lines{"VER Zev_Comm_GetFileDurationMsAndFps :[" + path + "] ret = -6\n"})
                << c.what;
        else
            EXPECT_TRUE(lines.empty()) << c.what;
    }
}

TEST(Mp4Probe, FilesThatCannotBeOpenedForWriting) {
    Zev_Comm_SetPrintLev(7);
    testsupport::TempDir dir;
    const std::string ro = dir / "readonly.mp4";
    ASSERT_TRUE(testsupport::write_file(ro, mp4("mvhd", 1, 2, 3)));
    ASSERT_EQ(chmod(ro.c_str(), 0400), 0);
    const bool root = geteuid() == 0;  // root opens it anyway
    for (const std::string &path : {dir / "missing.mp4", dir.path(), ro}) {
        if (root && path == ro) continue;
        uint32_t d = kUnset, f0 = kUnset, f1 = kUnset;
        int32_t r = 0;
        const auto lines = summarise(
            capture_stdout([&] { r = Zev_Comm_GetFileDurationMsAndFps(path.c_str(), &d, &f0, &f1); }));
        EXPECT_EQ(r, -4) << path;
        EXPECT_EQ(lines, Lines{"VER Zev_Comm_GetFileDurationMsAndFps :[" + path + "] ret = -4\n"});
        EXPECT_EQ(d, kUnset);
        EXPECT_EQ(f0, kUnset);
        EXPECT_EQ(f1, kUnset);
    }
    uint32_t w = kUnset;
    EXPECT_EQ(Zev_Comm_GetFileDurationMsAndFps(nullptr, &w, &w, &w), -1);
    EXPECT_EQ(Zev_Comm_GetFileDurationMsAndFps(ro.c_str(), &w, nullptr, &w), -1);
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
};

TEST_F(CaptureSlots, PollCountsAndLines) {
    const struct {
        const char *what;
        int32_t timeout;
        int name_at;  // usleep call after which slot 0 gets a name; -1 never
        int sleeps;
        std::string result;
        Lines lines;
    } cases[] = {
        {"99: no poll", 99, 0, 0, "", {"WAR WaitforCaptureComplate :timeout!\n"}},
        {"0: no poll", 0, 0, 0, "", {"WAR WaitforCaptureComplate :timeout!\n"}},
        {"negative: no poll", -500, 0, 0, "", {"WAR WaitforCaptureComplate :timeout!\n"}},
        {"100: one poll", 100, -1, 1, "", {"WAR WaitforCaptureComplate :timeout!\n"}},
        {"250: two polls", 250, -1, 2, "", {"WAR WaitforCaptureComplate :timeout!\n"}},
        {"name in the first",
         1000,
         0,
         1,
         "/mnt/sd/a.jpg",
         {"DBG WaitforCaptureComplate :got /mnt/sd/a.jpg (0/10)\n"}},
        {"name in the fourth",
         1000,
         3,
         4,
         "/mnt/sd/a.jpg",
         {"DBG WaitforCaptureComplate :got /mnt/sd/a.jpg (3/10)\n"}},
        {"name in the last",
         1099,
         9,
         10,
         "/mnt/sd/a.jpg",
         {"DBG WaitforCaptureComplate :got /mnt/sd/a.jpg (9/10)\n"}},
    };
    for (const auto &c : cases) {
        SetCaptureFileName(nullptr, 0);
        g_sleeps = 0;
        g_on_sleep = [&](int n) {
            if (n == c.name_at) SetCaptureFileName("/mnt/sd/a.jpg", 0);
        };
        char *r = nullptr;
        const auto lines = summarise(capture_stdout([&] { r = WaitforCaptureComplate(c.timeout); }));
        ASSERT_NE(r, nullptr) << c.what;
        EXPECT_EQ(std::string(r), c.result) << c.what;
        EXPECT_EQ(g_sleeps, c.sleeps) << c.what;
        EXPECT_EQ(lines, c.lines) << c.what;
    }
}

TEST_F(CaptureSlots, ANameLeftFromBeforeArrivesAtTheFirstPoll) {
    SetCaptureFileName("old.jpg", 0);
    char *r = nullptr;
    auto lines = summarise(capture_stdout([&] { r = WaitforCaptureComplate(1000); }));
    EXPECT_STREQ(r, "old.jpg");
    EXPECT_EQ(lines, Lines{"DBG WaitforCaptureComplate :got old.jpg (0/10)\n"});
    EXPECT_EQ(g_sleeps, 1);
    // The wait does not clear the slot; 99 does not even look at it.
    lines = summarise(capture_stdout([&] { r = WaitforCaptureComplate(99); }));
    EXPECT_STREQ(r, "old.jpg");
    EXPECT_EQ(lines, Lines{"WAR WaitforCaptureComplate :timeout!\n"});
}

TEST_F(CaptureSlots, SlotsOneAndTwoAndBadSlots) {
    SetCaptureFileName("one", 1);
    SetCaptureFileName("two", 2);
    SetCaptureFileName("three", 3);
    SetCaptureFileName("minus", -1);
    SetCaptureFileName(nullptr, 3);
    const char *r = WaitforCaptureComplate(300);
    EXPECT_STREQ(r, "");  // slot 0 stayed empty
    EXPECT_EQ(g_sleeps, 3);
    SetCaptureFileName("zero", 0);
    EXPECT_STREQ(WaitforCaptureComplate(100), "zero");
    SetCaptureFileName(nullptr, 1);  // clearing another slot leaves 0 alone
    EXPECT_STREQ(WaitforCaptureComplate(100), "zero");
}

TEST_F(CaptureSlots, LongNamesStayInsideTheSlot) {
    const struct {
        size_t length;
        size_t kept;
    } cases[] = {{70, 70}, {71, 71}, {72, 71}, {300, 71}, {1, 1}};
    for (const auto &c : cases) {
        std::string name(c.length, 'n');
        name[0] = 'A';
        SetCaptureFileName(name.c_str(), 0);
        EXPECT_EQ(std::string(WaitforCaptureComplate(100)), name.substr(0, c.kept)) << c.length;
        // A shorter name after a longer one leaves nothing of the old behind.
        SetCaptureFileName("b", 0);
        EXPECT_STREQ(WaitforCaptureComplate(100), "b");
    }
    SetCaptureFileName("", 0);
    EXPECT_STREQ(WaitforCaptureComplate(100), "");
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
            got = WaitforCaptureComplate(60000);
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
