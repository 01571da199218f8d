// SPDX-License-Identifier: MIT
// The zone table, the local clock, the validity test and the date texts.
#include <climits>
#include <tuple>

#include "clock_fixture.hpp"

using namespace clocktest;

namespace {

std::string dbg_zone(const std::string &text) { return "DBG Zev_Comm_TimeZone_to_Sec :" + text + "\n"; }

// Of every "GMT<sign>HH:MM" with a quarter-hour minute exactly the table's 34
// zones are known, with the sign on hours and minutes alike; the rest fall back.
TEST_F(Clock, KnownZonesAndTheirOffsets) {
    int known = 0;
    for (int i = 0; i < 2 * 16 * 4; ++i) {
        const int sign = i < 64 ? 1 : -1, h = i % 64 / 4, m = i % 4 * 15;
        char text[16];
        snprintf(text, sizeof text, "GMT%c%02d:%02d", sign > 0 ? '+' : '-', h, m);
        const auto [got, lines] = logged([&] { return Zev_Comm_TimeZone_to_Sec(text); });
        const bool is_known = lines.size() == 1;
        known += is_known;
        EXPECT_EQ(lines[0], dbg_zone(text));
        EXPECT_EQ(lines.size(), is_known ? 1u : 3u) << text;
        EXPECT_EQ(got, is_known ? sign * (h * 3600 + m * 60) : 28800) << text;
        EXPECT_TRUE(!is_known || h <= (sign > 0 ? 14 : 12)) << text;
    }
    EXPECT_EQ(known, 34);
    EXPECT_EQ(logged([] { EXPECT_EQ(Zev_Comm_TimeZone_to_Sec("GMT"), 0); }), Lines{dbg_zone("GMT")});
}

TEST_F(Clock, TextsOutsideTheTableFallBackToTheDefault) {
    for (const char *t :
         {"GMT+5", "gmt+08:00", "", "GMT+08:00 ", " GMT", "GMT+08", "UTC", "GMT-00:00", "(null)"}) {
        const std::string text = t;
        EXPECT_EQ(logged([&] { return Zev_Comm_TimeZone_to_Sec(text == "(null)" ? nullptr : t); }),
                  std::pair(28800, Lines{dbg_zone(t),
                                         "ERR Zev_Comm_TimeZone_to_Sec :error:" + text +
                                             ", set to default:GMT+08:00\n",
                                         dbg_zone("GMT+08:00")}));
    }
    EXPECT_TRUE(sf::calls().empty()) << "the fall-back never touches the setting";
}

TEST_F(Clock, LocalTimeIsTheClockPlusTheOffset) {
    // wall clock, zone setting (nullptr: none), local time as UTC seconds
    const std::tuple<int64_t, const char *, int64_t> cases[] = {
        {1767211200, "GMT+08:00", utc_seconds(2026, 1, 1, 4)},        // 2025-12-31 20:00 crosses the year
        {1709164800, "GMT-03:30", utc_seconds(2024, 2, 28, 20, 30)},  // 2024-02-29 00:00 back into February
        {1709164800, nullptr, utc_seconds(2024, 2, 29, 8)},           // no setting: the default zone
        {0, "GMT-01:00", utc_seconds(1969, 12, 31, 23)},
        {2147483647, "GMT+14:00", utc_seconds(2038, 1, 19, 17, 14, 7)},
        {2147483000, "GMT+08:00", utc_seconds(2038, 1, 19, 11, 3, 20)}};  // past a 32-bit time_t, not wrapped
    for (const auto &[wall, zone, local] : cases) {
        sf::reset();
        if (zone != nullptr) sf::set_value("Camera.Menu.TimeZone", zone);
        fc::set_wall(wall);
        hiSYSTEM_TM_S got{-1, -1, -1, -1, -1, -1};
        (void)logged([&] { EXPECT_EQ(Zev_Comm_GetLocalTime(&got), 0); });
        EXPECT_TRUE(got.s32mon >= 1 && got.s32mon <= 12 && got.s32mday >= 1 && got.s32mday <= 31) << wall;
        EXPECT_EQ(utc_seconds(got), local) << wall << " " << (zone ? zone : "(none)");
        EXPECT_EQ(sf::calls(), Lines{"Get Camera.Menu.TimeZone 65"});
    }
    sf::reset();
    EXPECT_EQ(Zev_Comm_GetLocalTime(nullptr), -1);
    EXPECT_TRUE(sf::calls().empty());
}

TEST_F(Clock, OnlyTheYearDecidesValidity) {
    for (const int32_t year : {2025, 2026, INT32_MAX})
        EXPECT_EQ(Zev_Comm_CheckIsTimeValid(rec(year, 13, 0, 77)), 0);
    for (const int32_t year : {2024, 0, INT32_MIN})
        EXPECT_EQ(Zev_Comm_CheckIsTimeValid(rec(year, 12, 31)), -1);
}

TEST_F(Clock, DateTextFollowsTheFormatSetting) {
    // clang-format off
    const std::pair<const char *, const char *> cases[] = {{nullptr, "2025-09-20"}, {"2", "20-09-2025"}, {"0", "2025-09-20"},
                                                           {"3", "2025-09-20"}, {"12", "2025-09-20"}, {"1", "09-20-2025"}};
    // clang-format on
    char *first = Zev_Comm_GetRealDate();
    for (const auto &[setting, text] : cases) {
        sf::reset();
        if (setting != nullptr) sf::set_value("Camera.Menu.TimeFormat", setting);
        EXPECT_EQ(Zev_Comm_GetRealDate(), first) << "one static buffer, rewritten in place";
        EXPECT_STREQ(first, text) << (setting ? setting : "(none)");
        EXPECT_EQ(sf::calls().at(0), "Get Camera.Menu.TimeFormat 66");
    }
    EXPECT_STREQ(Zev_Comm_GetBuildDate(), "2025-09-20") << "whatever the setting";
    EXPECT_NE(Zev_Comm_GetRealDate(), Zev_Comm_GetBuildDate()) << "two separate buffers";
}

}  // namespace
