// SPDX-License-Identifier: MIT
// Setting the clock: the checks, the offsets, a time_t too narrow for the
// date, and the zone change.
#include <climits>
#include <tuple>

#include "clock_fixture.hpp"

using namespace clocktest;

namespace {

TEST_F(Clock, ChecksInOrderWithTheirMessages) {
    auto expr = [](const std::string &field, const char *bounds) {
        return "expr[ZEV_COMM_CHECK_RANGE(pstDateTime->s32" + field + ", " + bounds + ")] false";
    };
    const std::string y = "expr[1970 < pstDateTime->s32year] false", mo = expr("mon", "1, 12");
    const std::string d = expr("mday", "1, 31"), h = expr("hour", "0, 23"), mi = expr("min", "0, 59");
    const std::string s = expr("sec", "0, 59");
    auto check = [&](const hiSYSTEM_TM_S *r, const std::string &message, int32_t result) {
        stubs_.clear();
        const int before = fc::settimeofday_calls();
        const auto [rc, lines] = logged([&] { return Zve_Comm_SetDateTime_TimeZone(r, 0); });
        EXPECT_EQ(rc, result) << message;
        EXPECT_EQ(fc::settimeofday_calls() - before, result == 0 ? 1 : 0) << message;
        EXPECT_EQ(stubs_.calls().size(), result == 0 ? 1u : 0u) << message;
        if (result != 0) {
            EXPECT_EQ(lines, Lines{"ERR Zve_Comm_SetDateTime_TimeZone :" + message + "\n"});
        }
    };
    using R = hiSYSTEM_TM_S;
    // field (set on 2026-06-15 12:30:30), value, message ("": passes), result
    const std::tuple<int32_t R::*, int32_t, std::string, int32_t> cases[] = {
        {&R::s32year, 1970, y, -2}, {&R::s32year, 1971, "", 0}, {&R::s32year, INT32_MIN, y, -2},
        {&R::s32mon, 0, mo, -2},    {&R::s32mon, 13, mo, -2},   {&R::s32mon, 12, "", 0},
        {&R::s32mday, 0, d, -2},    {&R::s32mday, 32, d, -2},   {&R::s32mday, 31, "", 0},
        {&R::s32hour, -1, h, -2},   {&R::s32hour, 24, h, -2},   {&R::s32min, -1, mi, -2},
        {&R::s32min, 60, mi, -2},   {&R::s32sec, -1, s, -2},    {&R::s32sec, 60, s, -2},
        {&R::s32sec, 59, "", 0},
    };
    for (const auto &[field, value, message, result] : cases) {
        hiSYSTEM_TM_S r = rec(2026, 6, 15, 12, 30, 30);
        r.*field = value;
        check(&r, message, result);
    }
    check(nullptr, "pointer[pstDateTime] is NULL", -1);
    // Several bad fields at once: the first check in order speaks.
    const std::pair<hiSYSTEM_TM_S, std::string> several[] = {
        {R{-1, -1, -1, -1, -1, -1}, y},   {rec(2026, 0, 0, 99, 99, 99), mo}, {rec(2026, 1, 0, 99, 99, 99), d},
        {rec(2026, 1, 1, 99, 99, 99), h}, {rec(2026, 1, 1, 0, 99, 99), mi},
    };
    for (const auto &[r, message] : several) check(&r, message, -2);
}

TEST_F(Clock, SetsTheClockRunsHwclockAndLogsTheReadBack) {
    stubs_.add("hwclock", "exit 1");  // its failure does not change the result
    const hiSYSTEM_TM_S r = rec(2026, 3, 10, 12, 34, 56);
    const std::string out = testsupport::capture_stdout([&] { EXPECT_EQ(Zve_Comm_SetDateTime(&r), 0); });
    EXPECT_EQ(fc::wall_seconds(), utc_seconds(r));
    EXPECT_EQ(fc::last_settimeofday().tv_usec, 0);
    EXPECT_EQ(stubs_.calls(), Lines{"hwclock --systohc"});
    EXPECT_EQ(testsupport::summarise(out),
              Lines{"DBG Zve_Comm_SetDateTime_TimeZone :Tue Mar 10 12:34:56 2026\n"});
    EXPECT_NE(out.find("2026\n\n"), std::string::npos) << "ctime's own line end, then the message's";
}

// The system clock and the local time after each setter, per zone setting.
TEST_F(Clock, OffsetsTable) {
    const hiSYSTEM_TM_S r = rec(2026, 3, 10, 12, 0, 0);
    const int64_t R = utc_seconds(r), D = utc_seconds(2025, 1, 1);
    // zone setting, setter, offset, system clock after, local time after
    const std::tuple<const char *, std::string, int32_t, int64_t, int64_t> cases[] = {
        // clang-format off
        {"GMT+08:00", "plain", 0, R, R + 28800}, {"GMT+08:00", "offset", -3600, R - 3600, R - 3600 + 28800},
        {"GMT+08:00", "utc", 0, R + 28800, R + 2 * 28800}, {"GMT-03:30", "plain", 0, R, R - 12600},
        {"GMT-03:30", "offset", 12600, R + 12600, R}, {"GMT-03:30", "utc", 0, R - 12600, R - 2 * 12600},
        {"GMT", "utc", 0, R, R}, {"", "utc", 0, R + 28800, R + 2 * 28800},  // no zone: the default
        {"GMT-12:00", "reset", 0, D, D - 43200}};
    // clang-format on
    for (const auto &[zone, op, offset, clock, want] : cases) {
        sf::set_value("Camera.Menu.TimeZone", zone);
        hiSYSTEM_TM_S local{};
        (void)logged([&] {
            EXPECT_EQ(op == "plain"    ? Zve_Comm_SetDateTime(&r)
                      : op == "offset" ? Zve_Comm_SetDateTime_TimeZone(&r, offset)
                      : op == "utc"    ? Zve_Comm_SetUtcDateTime(&r)
                                       : Zev_Comm_ResetToDefaultTime(),
                      0);
            EXPECT_EQ(Zev_Comm_GetLocalTime(&local), 0);
        });
        EXPECT_EQ(fc::wall_seconds(), clock) << zone << " " << op;
        EXPECT_EQ(utc_seconds(local), want) << zone << " " << op;
    }
}

// Days past a month's end carry over. A clock that time_t cannot hold (only
// a 32-bit one) is not set, and every other step still follows.
TEST_F(Clock, NeverAWrappedClock) {
    const std::pair<hiSYSTEM_TM_S, int32_t> cases[] = {
        // clang-format off
        {rec(2026, 2, 30, 8), 0}, {rec(2024, 2, 30), 0}, {rec(2038, 1, 19, 3, 14, 7), 0}, {rec(2038, 1, 19, 3, 14, 8), 0},
        {rec(2038, 1, 19, 3, 14, 7), 1}, {rec(2037, 12, 31, 23, 0, 0), 50400}, {rec(2038, 1, 19, 3, 14, 8), -1},
        {rec(2106, 2, 7, 6, 28, 16), 0}, {rec(2999, 12, 31, 23, 59, 59), 0}, {rec(1971, 1, 1), INT32_MIN},
        {rec(2026, 6, 15), INT32_MAX}};
    // clang-format on
    for (const auto &[r, offset] : cases) {
        fc::set_wall(kStart);
        stubs_.clear();
        const int64_t base = utc_seconds(r), want = base + offset;
        auto narrow = [](int64_t t) { return t >= INT32_MIN && t <= INT32_MAX; };
        const bool fits = sizeof(time_t) >= 8 || (narrow(base) && narrow(want));
        const auto got = logged([&, &r = r, o = offset] { return Zve_Comm_SetDateTime_TimeZone(&r, o); });
        SCOPED_TRACE(testing::Message() << r.s32year << "-" << r.s32mon << "-" << r.s32mday << " " << offset);
        const time_t clock = static_cast<time_t>(fits ? want : kStart);
        EXPECT_EQ(fc::wall_seconds(), clock);
        EXPECT_EQ(stubs_.calls(), Lines{"hwclock --systohc"});
        EXPECT_EQ(got,
                  std::pair(0, Lines{"DBG Zve_Comm_SetDateTime_TimeZone :" + std::string(ctime(&clock))}));
    }
}

TEST_F(Clock, ZoneChangeMovesTheClock) {
    const int64_t now = utc_seconds(2026, 6, 15, 12);
    // zone before (nullptr: none), new zone, clock before (+0.999999 s), result, after
    const std::tuple<const char *, const char *, int64_t, int32_t, int64_t> cases[] = {
        // clang-format off
        {"GMT+08:00", "GMT+09:00", now, 0, now + 3600}, {"GMT+08:00", "GMT-03:30", now, 0, now - 28800 - 12600},
        {"GMT", "Mars", now, 0, now + 28800},  // outside the table: counts as the default
        {nullptr, "GMT", now, 0, now - 28800}, {"GMT+08:00", "GMT-12:00", 1000, -2, 1000}};  // refused (1969), yet stored
    // clang-format on
    for (const auto &[old_zone, new_zone, before, result, after] : cases) {
        sf::reset();
        if (old_zone != nullptr) sf::set_value("Camera.Menu.TimeZone", old_zone);
        fc::set_wall(before, 999999);
        (void)logged([&] { EXPECT_EQ(Zve_Comm_UpdateTimeZone(new_zone), result) << new_zone; });
        EXPECT_EQ(fc::wall_seconds(), after) << new_zone;
        EXPECT_EQ(sf::calls().at(1), "Set Camera.Menu.TimeZone " + std::string(new_zone)) << "stored first";
    }
    sf::reset();
    EXPECT_EQ(Zve_Comm_UpdateTimeZone(nullptr), -1);
    EXPECT_TRUE(sf::calls().empty()) << "nothing stored";
}

}  // namespace
