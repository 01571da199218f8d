// Boot and wall clocks, including the 32-bit millisecond wrap.
#include <gtest/gtest.h>

#include <cstring>

#include "comm_clock.h"
#include "comm_log.h"
#include "fake_clock.hpp"

namespace {

namespace fc = testsupport::fake_clock;

TEST(Clock, BootClocksTable) {
    fc::Scope fake;
    const struct {
        int64_t sec;
        long nsec;
        uint32_t ms;
        uint32_t ms100;
        int32_t secs;
    } cases[] = {
        {0, 0, 0, 0, 0},
        {0, 999999, 0, 0, 0},
        {1, 999000000, 1999, 19, 1},
        {1, 999999999, 1999, 19, 1},
        {4294967, 295999999, 4294967295u, 42949672, 4294967},
        {4294967, 296000000, 0, 0, 4294967},   // the wrap: ms and 100 ms fall together
        {4294968, 0, 704, 7, 4294968},
        {4294968, 100000000, 804, 8, 4294968},
    };
    for (const auto &c : cases) {
        fc::set_monotonic(c.sec, c.nsec);
        EXPECT_EQ(Zev_Comm_GetBootMs(), c.ms) << c.sec << "." << c.nsec;
        EXPECT_EQ(Zev_Comm_GetBoot100Ms(), c.ms100) << c.sec << "." << c.nsec;
        EXPECT_EQ(ZevSysRnuningTime(), c.ms100) << c.sec << "." << c.nsec;
        EXPECT_EQ(Zev_GetSysBootSec(), c.secs) << c.sec << "." << c.nsec;
    }
}

TEST(Clock, MillisecondDifferenceSurvivesTheWrap) {
    fc::Scope fake;
    fc::set_monotonic(4294967, 0);  // 4294967000 ms
    const uint32_t before = Zev_Comm_GetBootMs();
    const uint32_t before100 = Zev_Comm_GetBoot100Ms();
    fc::set_monotonic(4294968, 0);  // 704 ms after the wrap
    EXPECT_EQ(static_cast<uint32_t>(Zev_Comm_GetBootMs() - before), 1000u);
    EXPECT_NE(static_cast<uint32_t>(Zev_Comm_GetBoot100Ms() - before100), 10u);
}

TEST(Clock, WallClockTexts) {
    fc::Scope fake;
    const struct {
        int64_t wall;
        const char *text;
    } cases[] = {
        {0, "19700101-000000"},
        {1758377039, "20250920-140359"},
        {2147483647, "20380119-031407"},
    };
    for (const auto &c : cases) {
        fc::set_wall(c.wall);
        char buf[32];
        memset(buf, 'X', sizeof buf);
        EXPECT_EQ(ZevSysFormatRtcTime(buf), 15);
        EXPECT_STREQ(buf, c.text);
        EXPECT_EQ(buf[16], 'X') << "nothing written past the terminator";
        EXPECT_EQ(ZevGetRtcSeconds(), static_cast<int32_t>(c.wall));
    }
}

TEST(Clock, FarYearIsCutToTheBuffer) {
    if (sizeof(time_t) < 8) GTEST_SKIP() << "32-bit time_t cannot hold the year 10000";
    fc::Scope fake;
    fc::set_wall(253402300800LL);  // 10000-01-01 00:00:00
    char buf[32];
    memset(buf, 'X', sizeof buf);
    EXPECT_EQ(ZevSysFormatRtcTime(buf), 15);
    EXPECT_EQ(strlen(buf), 15u);
    EXPECT_EQ(buf[16], 'X');
    EXPECT_EQ(ZevGetRtcSeconds(), static_cast<int32_t>(253402300800LL & 0xFFFFFFFF)) << "the low 32 bits";
}

TEST(Clock, RealClocksMoveForward) {
    const uint32_t a = Zev_Comm_GetBootMs();
    const int32_t s = Zev_GetSysBootSec();
    const uint32_t b = Zev_Comm_GetBootMs();
    EXPECT_LE(static_cast<uint32_t>(b - a), 1000u);
    EXPECT_GE(s, 0);
    EXPECT_GT(ZevGetRtcSeconds(), 1600000000) << "the machine's clock is after 2020";
}

}  // namespace
