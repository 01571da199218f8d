// SPDX-License-Identifier: MIT
// The time texts follow the system's zone while the local time is kept per
// second, and leave the C library's static struct tm alone.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "capture.hpp"
#include "comm_clock.h"
#include "comm_log.h"
#include "fake_clock.hpp"

namespace {

namespace fc = testsupport::fake_clock;

constexpr int64_t kSep20 = 1758377039;  // 2025-09-20 14:03:59 UTC

std::string format_text() {
    char buf[32] = {};
    ZevSysFormatRtcTime(buf);
    return buf;
}

int g_line = 0;
std::string logged_line() {
    return testsupport::capture_stdout([] {
        g_line = __LINE__ + 1;
        ZEV_COMM_DBG("k=%d\n", 1);
    });
}
// Call after logged_line(): it knows the statement's source line.
std::string want_line(const std::string &rtc) {
    return "\x1b[0;33m[" + rtc + " 000123.4][DBG]\x1b[m operator() " + std::to_string(g_line) + " :k=1\n";
}

void set_tz(const char *tz) { tz == nullptr ? unsetenv("TZ") : setenv("TZ", tz, 1); }

// The test program runs with TZ=UTC0; each test puts it back.
class LocalTime : public ::testing::Test {
protected:
    void SetUp() override {
        fc::enable();
        fc::set_monotonic(123, 400000000);
        Zev_Comm_SetPrintLev(5);
    }
    void TearDown() override {
        set_tz("UTC0");
        tzset();
        fc::disable();
    }
};

TEST_F(LocalTime, TzChangeShowsInTheNextTextOfTheSameSecond) {
    fc::set_wall(kSep20);
    std::string path_tz = ":/usr/share/zoneinfo";
    while (path_tz.size() < 140) path_tz += "/.";
    path_tz += "/Asia/Tokyo";  // longer than the copy the library keeps of TZ
    const bool have_zoneinfo = access("/usr/share/zoneinfo/Asia/Tokyo", R_OK) == 0;
    // clang-format off
    const struct { const char *tz; bool call_tzset; const char *rtc; const char *format; } steps[] = {
        {"UTC0", false, "250920 14:03:59", "20250920-140359"}, {"JST-9", false, "250920 23:03:59", "20250920-230359"},
        {"EST5", true, "250920 09:03:59", "20250920-090359"}, {"<+0545>-5:45", false, "250920 19:48:59", "20250920-194859"},
        {"", false, "250920 14:03:59", "20250920-140359"},  /* empty: UTC */  {"JST-9", true, "250920 23:03:59", "20250920-230359"},
        {"UTC0", false, "250920 14:03:59", "20250920-140359"}, {path_tz.c_str(), false, "250920 23:03:59", "20250920-230359"},
        {"UTC0", false, "250920 14:03:59", "20250920-140359"}, {path_tz.c_str(), false, "250920 23:03:59", "20250920-230359"}};
    // clang-format on
    for (const auto &s : steps) {
        if (s.tz == path_tz.c_str() && !have_zoneinfo) continue;
        set_tz(s.tz);
        if (s.call_tzset) tzset();
        EXPECT_STREQ(ZevSysRtcTime(), s.rtc) << s.tz;
        EXPECT_STREQ(ZevSysRtcTime(), s.rtc) << s.tz << ", kept text";
        EXPECT_EQ(format_text(), s.format) << s.tz;
        const std::string line = logged_line();
        EXPECT_EQ(line, want_line(s.rtc)) << s.tz;
    }
}

TEST_F(LocalTime, SecondBoundariesAndClockSteps) {
    // clang-format off
    const struct { int64_t wall; const char *rtc; const char *format; } steps[] = {
        {1767225598, "251231 23:59:58", "20251231-235958"}, {1767225599, "251231 23:59:59", "20251231-235959"},
        {1767225600, "260101 00:00:00", "20260101-000000"},  // year rolls over
        {1767225599, "251231 23:59:59", "20251231-235959"},  // clock set back a second
        {kSep20, "250920 14:03:59", "20250920-140359"},      // and months back
        {kSep20 + 1, "250920 14:04:00", "20250920-140400"}, {kSep20 + 86400, "250921 14:03:59", "20250921-140359"}};
    // clang-format on
    for (const auto &s : steps) {
        fc::set_wall(s.wall);
        EXPECT_EQ(format_text(), s.format) << s.wall;
        char *text = ZevSysRtcTime();
        EXPECT_STREQ(text, s.rtc) << s.wall;
        strcpy(text, "scribbled");  // the caller's to spoil; the next call is whole again
        EXPECT_STREQ(ZevSysRtcTime(), s.rtc) << s.wall;
        const std::string line = logged_line();
        EXPECT_EQ(line, want_line(s.rtc)) << s.wall;
    }
}

TEST_F(LocalTime, StaticTmOfTheApplicationIsLeftAlone) {
    fc::set_wall(kSep20);
    const time_t held_time = 0;
    const struct tm *held = localtime(&held_time);
    ASSERT_NE(held, nullptr);
    const struct tm before = *held;
    for (int64_t wall : {kSep20, kSep20 + 3600}) {
        fc::set_wall(wall);
        (void)ZevSysRtcTime(), (void)format_text(), (void)logged_line();
    }
    EXPECT_EQ(held->tm_year, before.tm_year);
    EXPECT_EQ(held->tm_hour, before.tm_hour);
    EXPECT_EQ(memcmp(held, &before, sizeof before), 0);
}

#ifndef COMM_TEST_EMULATOR
#define COMM_TEST_EMULATOR ""
#endif

// Runs in a private user and mount namespace (the test program again, under
// `unshare -rm`): another zone is bound over the zone file while TZ is unset.
void replaced_zone_file_checks() {
    unsetenv("TZ");
    fc::set_wall(kSep20);
    ASSERT_STREQ(ZevSysRtcTime(), "250920 14:03:59");
    ASSERT_EQ(mount("/usr/share/zoneinfo/Asia/Tokyo", "/etc/localtime", nullptr, MS_BIND, nullptr), 0)
        << strerror(errno);
    fc::set_wall(kSep20 + 1);
    EXPECT_STREQ(ZevSysRtcTime(), "250920 23:04:00");
    EXPECT_EQ(format_text(), "20250920-230400");
    ASSERT_EQ(umount("/etc/localtime"), 0) << strerror(errno);
    fc::set_wall(kSep20 + 2);
    EXPECT_STREQ(ZevSysRtcTime(), "250920 14:04:01");
}

TEST_F(LocalTime, ReplacedZoneFileShowsWithinASecond) {
    if (getenv("COMM_IN_PRIVATE_MOUNTS") != nullptr) return replaced_zone_file_checks();
    if (access("/usr/share/zoneinfo/Asia/Tokyo", R_OK) != 0 || access("/etc/localtime", R_OK) != 0)
        GTEST_SKIP() << "no zone files on this machine";
    set_tz(nullptr);
    tzset();
    fc::set_wall(kSep20);
    if (std::string(ZevSysRtcTime()) != "250920 14:03:59") GTEST_SKIP() << "the machine's zone is not UTC";
    if (system("unshare -rm true >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no private mount namespace here (unshare -rm refused)";
    char self[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    const std::string cmd = std::string("COMM_IN_PRIVATE_MOUNTS=1 unshare -rm ") + COMM_TEST_EMULATOR + " " +
                            self + " --gtest_filter=LocalTime.ReplacedZoneFileShowsWithinASecond 2>&1";
    FILE *child = popen(cmd.c_str(), "r");
    ASSERT_NE(child, nullptr);
    std::string out;
    char buf[512];
    while (fgets(buf, sizeof buf, child) != nullptr) out += buf;
    EXPECT_EQ(pclose(child), 0) << out;
}

}  // namespace
