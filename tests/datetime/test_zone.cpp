// The zone table, the local clock, the validity test and the date texts.
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_datetime.h"
#include "comm_log.h"
#include "datetime/calendar.hpp"
#include "fake_clock.hpp"
#include "log_lines.hpp"
#include "settings_fake.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;
namespace fc = testsupport::fake_clock;
namespace sf = testsupport::settings_fake;

namespace {

using Lines = std::vector<std::string>;

std::string dbg_zone(const std::string &text) { return "DBG Zev_Comm_TimeZone_to_Sec :" + text + "\n"; }

class Zone : public ::testing::Test {
protected:
    void SetUp() override {
        sf::reset();
        Zev_Comm_SetPrintLev(5);
    }
    void TearDown() override { sf::reset(); }
};

// Every "GMT<sign>HH:MM" text with a quarter-hour minute is tried: exactly
// the 34 zones of the table (and "GMT") are known, each with the sign of its
// text applied to hours and minutes alike; the rest fall back.
TEST_F(Zone, KnownZonesAndTheirOffsets) {
    int known = 0;
    for (const char sign : {'+', '-'}) {
        for (int h = 0; h <= 15; ++h) {
            for (int m : {0, 15, 30, 45}) {
                char text[16];
                snprintf(text, sizeof text, "GMT%c%02d:%02d", sign, h, m);
                int32_t got = 0;
                const Lines lines = summarise(capture_stdout([&] { got = Zev_Comm_TimeZone_to_Sec(text); }));
                if (lines.size() == 1) {
                    ++known;
                    EXPECT_EQ(lines[0], dbg_zone(text));
                    EXPECT_EQ(got, (sign == '+' ? 1 : -1) * (h * 3600 + m * 60)) << text;
                    EXPECT_LE(h, sign == '+' ? 14 : 12) << text;
                } else {
                    EXPECT_EQ(lines.size(), 3u) << text;
                    EXPECT_EQ(got, 28800) << text;
                }
            }
        }
    }
    EXPECT_EQ(known, 34);
    int32_t got = -1;
    EXPECT_EQ(summarise(capture_stdout([&] { got = Zev_Comm_TimeZone_to_Sec("GMT"); })),
              Lines{dbg_zone("GMT")});
    EXPECT_EQ(got, 0);
    const struct {
        const char *text;
        int32_t seconds;
    } edges[] = {{"GMT+00:00", 0},      {"GMT-03:30", -12600}, {"GMT+05:45", 20700},
                 {"GMT-12:00", -43200}, {"GMT+14:00", 50400},  {"GMT+08:00", 28800}};
    for (const auto &e : edges) EXPECT_EQ(Zev_Comm_TimeZone_to_Sec(e.text), e.seconds) << e.text;
}

TEST_F(Zone, TextsOutsideTheTableFallBackToTheDefault) {
    const char *texts[] = {"GMT+5",  "gmt+08:00", "",          "GMT+08:00 ", " GMT",
                           "GMT+08", "UTC",       "GMT+15:00", "GMT-00:00"};
    for (const char *t : texts) {
        int32_t got = 0;
        const std::string out = capture_stdout([&] { got = Zev_Comm_TimeZone_to_Sec(t); });
        EXPECT_EQ(got, 28800) << t;
        EXPECT_EQ(summarise(out), (Lines{dbg_zone(t),
                                         "ERR Zev_Comm_TimeZone_to_Sec :error:" + std::string(t) +
                                             ", set to default:GMT+08:00\n",
                                         dbg_zone("GMT+08:00")}));
    }
    int32_t got = 0;
    const std::string out = capture_stdout([&] { got = Zev_Comm_TimeZone_to_Sec(nullptr); });
    EXPECT_EQ(got, 28800);
    EXPECT_EQ(summarise(out).size(), 3u);
    EXPECT_TRUE(sf::calls().empty()) << "the fall-back never touches the setting";
}

TEST_F(Zone, LocalTimeIsTheClockPlusTheOffset) {
    fc::Scope fake;
    const struct {
        int64_t wall;
        const char *zone;    // nullptr: no setting
        hiSYSTEM_TM_S want;  // sec, min, hour, mday, mon, year
    } cases[] = {
        {1767211200, "GMT+08:00", {0, 0, 4, 1, 1, 2026}},  // 2025-12-31 20:00 crosses the year
        {1767211200, "GMT", {0, 0, 20, 31, 12, 2025}},
        {1767211200, "GMT-12:00", {0, 0, 8, 31, 12, 2025}},
        {1767225599, "GMT+00:00", {59, 59, 23, 31, 12, 2025}},
        {1709164800, "GMT-03:30", {0, 30, 20, 28, 2, 2024}},  // 2024-02-29 00:00 back into February
        {1709164800, "GMT+05:45", {0, 45, 5, 29, 2, 2024}},
        {1709164800, nullptr, {0, 0, 8, 29, 2, 2024}},  // no setting: the default zone
        {1709164800, "nonsense", {0, 0, 8, 29, 2, 2024}},
        {0, "GMT-01:00", {0, 0, 23, 31, 12, 1969}},
        {2147483000, "GMT+08:00", {20, 3, 11, 19, 1, 2038}},  // beyond a 32-bit time_t: not wrapped
        {2147483647, "GMT+14:00", {7, 14, 17, 19, 1, 2038}},
    };
    for (const auto &c : cases) {
        sf::reset();
        if (c.zone != nullptr) sf::set_value("Camera.Menu.TimeZone", c.zone);
        fc::set_wall(c.wall);
        hiSYSTEM_TM_S got{-1, -1, -1, -1, -1, -1};
        int32_t rc = -9;
        (void)capture_stdout([&] { rc = Zev_Comm_GetLocalTime(&got); });
        EXPECT_EQ(rc, 0);
        const hiSYSTEM_TM_S &w = c.want;
        EXPECT_EQ(
            (std::vector<int32_t>{got.s32year, got.s32mon, got.s32mday, got.s32hour, got.s32min, got.s32sec}),
            (std::vector<int32_t>{w.s32year, w.s32mon, w.s32mday, w.s32hour, w.s32min, w.s32sec}))
            << c.wall << " " << (c.zone ? c.zone : "(none)");
        EXPECT_EQ(sf::calls(), Lines{"Get Camera.Menu.TimeZone 65"});
    }
}

TEST_F(Zone, LocalTimeNullRecordReadsNothing) {
    int32_t rc = 0;
    const std::string out = capture_stdout([&] { rc = Zev_Comm_GetLocalTime(nullptr); });
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(summarise(out), Lines{"ERR Zev_Comm_GetLocalTime :pointer[pstDateTime] is NULL\n"});
    EXPECT_TRUE(sf::calls().empty());
}

TEST_F(Zone, OnlyTheYearDecidesValidity) {
    const struct {
        hiSYSTEM_TM_S r;
        int32_t want;
    } cases[] = {
        {{0, 0, 0, 1, 1, 2025}, 0},      {{0, 0, 0, 31, 12, 2024}, -1}, {{0, 0, 0, 1, 0, 2025}, 0},
        {{99, -5, 77, 0, 13, 2026}, 0},  {{0, 0, 0, 1, 1, 0}, -1},      {{0, 0, 0, 1, 1, INT32_MIN}, -1},
        {{0, 0, 0, 1, 1, INT32_MAX}, 0},
    };
    for (const auto &c : cases) EXPECT_EQ(Zev_Comm_CheckIsTimeValid(c.r), c.want) << c.r.s32year;
}

TEST_F(Zone, DateTextFollowsTheFormatSetting) {
    const struct {
        const char *setting;  // nullptr: none
        const char *text;
    } cases[] = {
        {"1", "09-20-2025"}, {"2", "20-09-2025"},  {"0", "2025-09-20"},  {"3", "2025-09-20"},
        {"", "2025-09-20"},  {"12", "2025-09-20"}, {"1 ", "2025-09-20"}, {nullptr, "2025-09-20"},
    };
    char *first = Zev_Comm_GetRealDate();
    for (const auto &c : cases) {
        sf::reset();
        if (c.setting != nullptr) sf::set_value("Camera.Menu.TimeFormat", c.setting);
        char *text = Zev_Comm_GetRealDate();
        EXPECT_EQ(text, first) << "one static buffer, rewritten in place";
        EXPECT_STREQ(text, c.text) << (c.setting ? c.setting : "(none)");
        ASSERT_FALSE(sf::calls().empty());
        EXPECT_EQ(sf::calls()[0], "Get Camera.Menu.TimeFormat 66");
    }
    sf::set_value("Camera.Menu.TimeFormat", "0");
    EXPECT_STREQ(Zev_Comm_GetRealDate(), Zev_Comm_GetBuildDate());
    EXPECT_NE(Zev_Comm_GetRealDate(), Zev_Comm_GetBuildDate()) << "two separate buffers";
}

TEST_F(Zone, BuildDateReadsNoSetting) {
    sf::set_value("Camera.Menu.TimeFormat", "1");
    EXPECT_STREQ(Zev_Comm_GetBuildDate(), "2025-09-20");
    EXPECT_TRUE(sf::calls().empty());
}

// The 64-bit calendar that stands in when time_t is too narrow, against the
// C library's own gmtime over every day it can represent in a wide range.
TEST(Calendar, CivilDatesMatchGmtime) {
    const int64_t first = comm::fits_time_t(-5000LL * 86400 * 365) ? -5000LL * 365 : -24855;
    const int64_t last = comm::fits_time_t(5000LL * 86400 * 365) ? 5000LL * 365 : 24855;
    for (int64_t day = first; day <= last; day += 7) {
        const time_t t = static_cast<time_t>(day * 86400);
        struct tm tm {};
        ASSERT_NE(gmtime_r(&t, &tm), nullptr) << day;
        int64_t year = 0;
        int32_t mon = 0, mday = 0;
        comm::civil_from_days(day, year, mon, mday);
        ASSERT_EQ(year, tm.tm_year + 1900LL) << day;
        ASSERT_EQ(mon, tm.tm_mon + 1) << day;
        ASSERT_EQ(mday, tm.tm_mday) << day;
    }
}

TEST(Calendar, FitsTimeT) {
    EXPECT_TRUE(comm::fits_time_t(2147483647));
    EXPECT_TRUE(comm::fits_time_t(-2147483648LL));
    EXPECT_EQ(comm::fits_time_t(2147483648LL), sizeof(time_t) >= 8);
    EXPECT_EQ(comm::fits_time_t(-2147483649LL), sizeof(time_t) >= 8);
}

}  // namespace
