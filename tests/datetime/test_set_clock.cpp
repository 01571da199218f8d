// Setting the clock: the checks, the offsets, the time-set flag, the zone
// change and the hardware clock commands. The clock is the test program's
// fake, hwclock a recording stub: the machine's clocks are never touched.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <vector>

#include "capture.hpp"
#include "clock_fixture.hpp"
#include "comm_clock.h"
#include "comm_datetime.h"
#include "comm_log.h"
#include "fake_clock.hpp"
#include "log_lines.hpp"
#include "settings_fake.hpp"
#include "stub_commands.hpp"

using namespace clocktest;
using testsupport::capture_stdout;

namespace {

// ---- the checks --------------------------------------------------------------

TEST_F(SetClock, ChecksInOrderWithTheirMessages) {
    const std::string y = "1970 < pstDateTime->s32year";
    const std::string mo = "ZEV_COMM_CHECK_RANGE(pstDateTime->s32mon, 1, 12)";
    const std::string d = "ZEV_COMM_CHECK_RANGE(pstDateTime->s32mday, 1, 31)";
    const std::string h = "ZEV_COMM_CHECK_RANGE(pstDateTime->s32hour, 0, 23)";
    const std::string mi = "ZEV_COMM_CHECK_RANGE(pstDateTime->s32min, 0, 59)";
    const std::string s = "ZEV_COMM_CHECK_RANGE(pstDateTime->s32sec, 0, 59)";
    const struct {
        const char *field;
        hiSYSTEM_TM_S r;
        std::string expr;  // empty: passes
    } cases[] = {
        {"year 1970", rec(1970, 6, 15, 12), y},
        {"year 1971", rec(1971, 6, 15, 12), ""},
        {"year -1", rec(-1, 6, 15), y},
        {"year INT32_MIN", rec(INT32_MIN, 6, 15), y},
        {"mon 0", rec(2026, 0, 15), mo},
        {"mon 13", rec(2026, 13, 15), mo},
        {"mon -1", rec(2026, -1, 15), mo},
        {"mon 12", rec(2026, 12, 15), ""},
        {"mday 0", rec(2026, 6, 0), d},
        {"mday 32", rec(2026, 6, 32), d},
        {"mday 31", rec(2026, 6, 31), ""},
        {"hour 24", rec(2026, 6, 15, 24), h},
        {"hour -1", rec(2026, 6, 15, -1), h},
        {"min 60", rec(2026, 6, 15, 23, 60), mi},
        {"min -1", rec(2026, 6, 15, 23, -1), mi},
        {"sec 60", rec(2026, 6, 15, 23, 59, 60), s},
        {"sec -1", rec(2026, 6, 15, 23, 59, -1), s},
        {"sec 59", rec(2026, 6, 15, 23, 59, 59), ""},
        {"year and sec", rec(1900, 6, 15, 0, 0, 99), y},
        {"mon and day", rec(2026, 0, 0), mo},
        {"day and hour", rec(2026, 1, 99, 99), d},
        {"hour and min", rec(2026, 1, 1, 99, 99), h},
        {"min and sec", rec(2026, 1, 1, 0, 99, 99), mi},
        {"all bad", hiSYSTEM_TM_S{-1, -1, -1, -1, -1, -1}, y},
    };
    for (const auto &c : cases) {
        fc::set_wall(kStart);
        stubs_.clear();
        const int before = fc::settimeofday_calls();
        int32_t rc = 0;
        const Lines lines = logged([&] { rc = Zve_Comm_SetDateTime_TimeZone(&c.r, 0); });
        if (c.expr.empty()) {
            EXPECT_EQ(rc, 0) << c.field;
            EXPECT_EQ(fc::settimeofday_calls(), before + 1) << c.field;
            continue;
        }
        EXPECT_EQ(rc, -2) << c.field;
        EXPECT_EQ(lines, Lines{"ERR Zve_Comm_SetDateTime_TimeZone :expr[" + c.expr + "] false\n"}) << c.field;
        EXPECT_EQ(fc::settimeofday_calls(), before) << c.field << ": nothing changed";
        EXPECT_EQ(fc::wall_seconds(), kStart) << c.field;
        EXPECT_TRUE(stubs_.calls().empty()) << c.field;
    }
}

TEST_F(SetClock, NullRecord) {
    int32_t rc = 0;
    const Lines lines = logged([&] { rc = Zve_Comm_SetDateTime_TimeZone(nullptr, 100); });
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(lines, Lines{"ERR Zve_Comm_SetDateTime_TimeZone :pointer[pstDateTime] is NULL\n"});
    EXPECT_EQ(Zve_Comm_SetDateTime(nullptr), -1);
    EXPECT_EQ(fc::wall_seconds(), kStart);
    EXPECT_TRUE(stubs_.calls().empty());
}

TEST_F(SetClock, LogLevelDoesNotChangeTheResult) {
    Zev_Comm_SetPrintLev(0);
    const hiSYSTEM_TM_S bad = rec(2026, 13, 1);
    std::string out;
    out = capture_stdout([&] { EXPECT_EQ(Zve_Comm_SetDateTime(&bad), -2); });
    EXPECT_EQ(out, "");
    Zev_Comm_SetPrintLev(5);
}

// ---- setting, hwclock, the read-back ---------------------------------------------

TEST_F(SetClock, SetsTheClockRunsHwclockAndLogsTheReadBack) {
    const hiSYSTEM_TM_S r = rec(2026, 3, 10, 12, 34, 56);
    int32_t rc = -9;
    const Lines lines = logged([&] { rc = Zve_Comm_SetDateTime(&r); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(fc::wall_seconds(), utc_seconds(2026, 3, 10, 12, 34, 56));
    EXPECT_EQ(fc::last_settimeofday().tv_usec, 0);
    EXPECT_EQ(stubs_.calls(), Lines{"hwclock --systohc"});
    EXPECT_EQ(lines, Lines{"DBG Zve_Comm_SetDateTime_TimeZone :Tue Mar 10 12:34:56 2026\n"});
    // ctime's own line end, then the message's: an empty line follows.
    const std::string raw = capture_stdout([&] { (void)Zve_Comm_SetDateTime(&r); });
    EXPECT_NE(raw.find("2026\n\n"), std::string::npos);
}

TEST_F(SetClock, ClockAndHwclockFailuresStillGiveZero) {
    stubs_.add("hwclock", "exit 1");
    fake_.reset();  // the real settimeofday is never reached: the fake refuses it
    const hiSYSTEM_TM_S r = rec(2026, 6, 15);
    EXPECT_EQ(Zve_Comm_SetDateTimeEx(2026, 6, 15, 0, 0, 0), 0);
    EXPECT_EQ(Zve_Comm_SetDateTime(&r), 0);
    fake_.emplace();
}

TEST_F(SetClock, OutOfStepDatesAreNormalised) {
    const struct {
        hiSYSTEM_TM_S r;
        int64_t want;
    } cases[] = {
        {rec(2026, 2, 30, 8), utc_seconds(2026, 3, 2, 8, 0, 0)},
        {rec(2024, 2, 30), utc_seconds(2024, 3, 1, 0, 0, 0)},
        {rec(2026, 4, 31), utc_seconds(2026, 5, 1, 0, 0, 0)},
        {rec(2025, 12, 31, 23, 59, 59), utc_seconds(2025, 12, 31, 23, 59, 59)},
    };
    for (const auto &c : cases) {
        (void)capture_stdout([&] { EXPECT_EQ(Zve_Comm_SetDateTime(&c.r), 0); });
        EXPECT_EQ(fc::wall_seconds(), c.want) << c.r.s32mon << "/" << c.r.s32mday;
    }
}

// ---- the offsets -------------------------------------------------------------------

TEST_F(SetClock, OffsetsTable) {
    const hiSYSTEM_TM_S r = rec(2026, 3, 10, 12, 0, 0);
    const int64_t R = utc_seconds(2026, 3, 10, 12, 0, 0);
    const struct {
        const char *zone;
        const char *op;
        int32_t offset;  // for the explicit-offset setter
        int64_t clock;   // system clock after
        int64_t local;   // Zev_Comm_GetLocalTime after
    } cases[] = {
        {"GMT+08:00", "plain", 0, R, R + 28800},
        {"GMT+08:00", "offset", -3600, R - 3600, R - 3600 + 28800},
        {"GMT+08:00", "utc", 0, R + 28800, R + 2 * 28800},
        {"GMT-03:30", "plain", 0, R, R - 12600},
        {"GMT-03:30", "offset", 12600, R + 12600, R},
        {"GMT-03:30", "utc", 0, R - 12600, R - 2 * 12600},
        {"GMT", "utc", 0, R, R},
        {"", "utc", 0, R + 28800, R + 2 * 28800},  // no zone: the default
    };
    for (const auto &c : cases) {
        sf::reset();
        sf::set_value("Camera.Menu.TimeZone", c.zone);
        const std::string op = c.op;
        int32_t rc = -9;
        (void)capture_stdout([&] {
            rc = op == "plain"    ? Zve_Comm_SetDateTime(&r)
                 : op == "offset" ? Zve_Comm_SetDateTime_TimeZone(&r, c.offset)
                                  : Zve_Comm_SetUtcDateTime(&r);
        });
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(fc::wall_seconds(), c.clock) << c.zone << " " << c.op;
        char shown[16];
        ASSERT_EQ(ZevSysFormatRtcTime(shown), 15);
        const time_t clock = static_cast<time_t>(c.clock);
        char want_shown[32];
        strftime(want_shown, sizeof want_shown, "%Y%m%d-%H%M%S", gmtime(&clock));
        EXPECT_STREQ(shown, want_shown) << "the system clock shows no offset";
        hiSYSTEM_TM_S local{};
        (void)capture_stdout([&] { ASSERT_EQ(Zev_Comm_GetLocalTime(&local), 0); });
        EXPECT_EQ(utc_seconds(local.s32year, local.s32mon, local.s32mday, local.s32hour, local.s32min,
                              local.s32sec),
                  c.local)
            << c.zone << " " << c.op;
    }
}

TEST_F(SetClock, UtcSetterReadsTheZoneFirst) {
    sf::set_value("Camera.Menu.TimeZone", "GMT+09:00");
    int32_t rc = 0;
    const Lines lines = logged([&] { rc = Zve_Comm_SetUtcDateTime(nullptr); });
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(lines, (Lines{"DBG Zev_Comm_TimeZone_to_Sec :GMT+09:00\n",
                            "ERR Zve_Comm_SetDateTime_TimeZone :pointer[pstDateTime] is NULL\n"}));
    EXPECT_EQ(sf::calls(), Lines{"Get Camera.Menu.TimeZone 65"});
}

// ---- a time_t that cannot hold the date ---------------------------------------------------

TEST_F(SetClock, NeverAWrappedClock) {
    const struct {
        hiSYSTEM_TM_S r;
        int32_t offset;
    } cases[] = {
        {rec(2038, 1, 19, 3, 14, 7), 0},    {rec(2038, 1, 19, 3, 14, 8), 0},
        {rec(2038, 1, 19, 3, 14, 7), 1},    {rec(2037, 12, 31, 23, 0, 0), 50400},
        {rec(2038, 1, 19, 3, 14, 8), -1},   {rec(2106, 2, 7, 6, 28, 16), 0},
        {rec(2999, 12, 31, 23, 59, 59), 0}, {rec(1971, 1, 1), -43200},
        {rec(1971, 1, 1), INT32_MIN},       {rec(2026, 6, 15), INT32_MAX},
    };
    for (const auto &c : cases) {
        fc::set_wall(kStart);
        stubs_.clear();
        const hiSYSTEM_TM_S &r = c.r;
        const int64_t base = utc_seconds(r.s32year, r.s32mon, r.s32mday, r.s32hour, r.s32min, r.s32sec);
        const int64_t want = base + c.offset;
        // Both the record itself (mktime) and the sum must fit time_t.
        auto narrow = [](int64_t t) { return t >= INT32_MIN && t <= INT32_MAX; };
        const bool fits = sizeof(time_t) >= 8 || (narrow(base) && narrow(want));
        int32_t rc = -9;
        const Lines lines = logged([&] { rc = Zve_Comm_SetDateTime_TimeZone(&r, c.offset); });
        EXPECT_EQ(rc, 0) << r.s32year << " " << c.offset;
        if (fits) {
            EXPECT_EQ(fc::wall_seconds(), want) << r.s32year << " " << c.offset;
            EXPECT_EQ(stubs_.calls(), Lines{"hwclock --systohc"});
            continue;
        }
        EXPECT_EQ(fc::wall_seconds(), kStart) << r.s32year << " " << c.offset << ": left as it was";
        EXPECT_TRUE(stubs_.calls().empty()) << "the hardware clock is not written either";
        ASSERT_EQ(lines.size(), 2u);
        char war[160];
        snprintf(
            war, sizeof war,
            "WAR Zve_Comm_SetDateTime_TimeZone :clock not set: %d-%02d-%02d %02d:%02d:%02d%+d s does not fit "
            "time_t\n",
            r.s32year, r.s32mon, r.s32mday, r.s32hour, r.s32min, r.s32sec, c.offset);
        EXPECT_EQ(lines[0], war);
        EXPECT_EQ(lines[1], "DBG Zve_Comm_SetDateTime_TimeZone :Thu Jan  1 00:00:00 2026\n")
            << "the read-back";
    }
}

TEST_F(SetClock, ResetToDefault) {
    int32_t rc = -9;
    (void)capture_stdout([&] { rc = Zev_Comm_ResetToDefaultTime(); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(fc::wall_seconds(), utc_seconds(2025, 1, 1, 0, 0, 0));
    EXPECT_EQ(stubs_.calls(), Lines{"hwclock --systohc"});
}

// ---- the zone change -------------------------------------------------------------------------

TEST_F(SetClock, ZoneChangeMovesTheClock) {
    const int64_t now = utc_seconds(2026, 6, 15, 12, 0, 0);
    const struct {
        const char *old_zone;  // nullptr: none stored
        const char *new_zone;
        int64_t moved;
    } cases[] = {
        {"GMT+08:00", "GMT+09:00", 3600},
        {"GMT+09:00", "GMT+08:00", -3600},
        {"GMT+08:00", "GMT-03:30", -28800 - 12600},
        {"GMT", "Mars", 28800},  // outside the table: counts as the default
        {"GMT+08:00", "Mars", 0},
        {nullptr, "GMT", -28800},
        {"GMT+05:45", "GMT+05:45", 0},
    };
    for (const auto &c : cases) {
        sf::reset();
        if (c.old_zone != nullptr) sf::set_value("Camera.Menu.TimeZone", c.old_zone);
        fc::set_wall(now, 999999);
        int32_t rc = -9;
        (void)capture_stdout([&] { rc = Zve_Comm_UpdateTimeZone(c.new_zone); });
        EXPECT_EQ(rc, 0) << c.new_zone;
        EXPECT_EQ(fc::wall_seconds(), now + c.moved) << c.new_zone << ": the fraction is dropped";
        EXPECT_EQ(sf::value("Camera.Menu.TimeZone"), c.new_zone) << "stored unchanged";
    }
}

TEST_F(SetClock, ZoneIsStoredEvenWhenTheClockIsRefused) {
    sf::set_value("Camera.Menu.TimeZone", "GMT+08:00");
    fc::set_wall(1000);
    int32_t rc = 0;
    const Lines lines = logged([&] { rc = Zve_Comm_UpdateTimeZone("GMT-12:00"); });
    EXPECT_EQ(rc, -2) << "1000 - 28800 - 43200 lies in 1969";
    EXPECT_EQ(sf::value("Camera.Menu.TimeZone"), "GMT-12:00");
    EXPECT_EQ(fc::wall_seconds(), 1000);
    EXPECT_EQ(lines.back(), "ERR Zve_Comm_SetDateTime_TimeZone :expr[1970 < pstDateTime->s32year] false\n");
    const Lines calls = sf::calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0], "Get Camera.Menu.TimeZone 65");
    EXPECT_EQ(calls[1], "Set Camera.Menu.TimeZone GMT-12:00");
}

TEST_F(SetClock, ZoneChangeWithoutAText) {
    int32_t rc = 0;
    const Lines lines = logged([&] { rc = Zve_Comm_UpdateTimeZone(nullptr); });
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(lines, Lines{"ERR Zve_Comm_UpdateTimeZone :pointer[pZone] is NULL\n"});
    EXPECT_TRUE(sf::calls().empty());
    EXPECT_EQ(fc::wall_seconds(), kStart);
}

// ---- the hardware clock --------------------------------------------------------------------

TEST_F(SetClock, HardwareClockCommands) {
    stubs_.add("hwclock", "exit 3");
    int rc = Zev_Comm_UpdateSysTimeFromRtc();
    ASSERT_TRUE(WIFEXITED(rc));
    EXPECT_EQ(WEXITSTATUS(rc), 3);
    rc = Zev_Comm_UpdateSysTimeToRtc();
    ASSERT_TRUE(WIFEXITED(rc));
    EXPECT_EQ(WEXITSTATUS(rc), 3);
    EXPECT_EQ(stubs_.calls(), (Lines{"hwclock --hctosys", "hwclock --systohc"}));
}

TEST_F(SetClock, RtcTimeLoadsTheHardwareClockFirst) {
    int32_t rc = 0;
    (void)capture_stdout([&] { rc = Zve_Comm_GetRtcTime(nullptr); });
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(stubs_.calls(), Lines{"hwclock --hctosys"});

    stubs_.clear();
    sf::set_value("Camera.Menu.TimeZone", "GMT+01:00");
    fc::set_wall(utc_seconds(2026, 7, 4, 22, 30, 0));
    hiSYSTEM_TM_S got{};
    (void)capture_stdout([&] { rc = Zve_Comm_GetRtcTime(&got); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(stubs_.calls(), Lines{"hwclock --hctosys"});
    EXPECT_EQ((std::vector<int32_t>{got.s32year, got.s32mon, got.s32mday, got.s32hour, got.s32min}),
              (std::vector<int32_t>{2026, 7, 4, 23, 30}));
}

}  // namespace
