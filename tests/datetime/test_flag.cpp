// The time-set flag. It has no way back within a process, so every case
// runs in a child of this program, whose own flag is never raised.
#include <sys/wait.h>
#include <unistd.h>

#include "clock_fixture.hpp"

using namespace clocktest;

namespace {

// ---- the time-set flag -----------------------------------------------------------------

// Runs `steps` in a new process, whose flag starts at 0, and returns the
// flag it ends with.
template <typename Fn>
int flag_after(Fn &&steps) {
    if (Zve_Comm_IsTimeSeted() != 0) return -2;  // this program must never raise its own flag
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        Zev_Comm_SetPrintLev(0);
        if (Zve_Comm_IsTimeSeted() != 0) _exit(9);
        steps();
        _exit(Zve_Comm_IsTimeSeted());
    }
    int st = 0;
    waitpid(pid, &st, 0);
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

TEST_F(SetClock, FlagRule) {
    const struct {
        int32_t y, mo, d;
        int32_t offset;
        int want;
    } cases[] = {
        {2026, 6, 15, 0, 1},  // all three differ from 2025-01-01
        {2025, 6, 15, 0, 0},  // the year 2025
        {2026, 1, 15, 0, 0},  // a January
        {2026, 6, 1, 0, 0},   // a first of the month
        {2025, 1, 1, 0, 0},   // the default date
        {2024, 12, 31, 0, 1},    {1971, 2, 2, 0, 1},
        {2025, 12, 31, 7200, 0},  // the record counts, not the clock after the offset (2026-01-01)
        {2026, 1, 2, -86400, 0}, {2026, 2, 2, 0, 1},
    };
    for (const auto &c : cases) {
        const hiSYSTEM_TM_S r = rec(c.y, c.mo, c.d, 23, 0, 0);
        EXPECT_EQ(flag_after([&] { (void)Zve_Comm_SetDateTime_TimeZone(&r, c.offset); }), c.want)
            << c.y << "-" << c.mo << "-" << c.d << " " << c.offset;
    }
}

TEST_F(SetClock, FlagHasNoWayBack) {
    EXPECT_EQ(flag_after([] {
                  (void)Zve_Comm_SetDateTimeEx(2026, 6, 15, 0, 0, 0);
                  (void)Zev_Comm_ResetToDefaultTime();
                  (void)Zve_Comm_SetDateTimeEx(2025, 1, 1, 0, 0, 0);
              }),
              1);
    EXPECT_EQ(flag_after([] { (void)Zev_Comm_ResetToDefaultTime(); }), 0);
    EXPECT_EQ(flag_after([] { (void)Zve_Comm_SetDateTimeEx(2026, 6, 15, 24, 0, 0); }), 0)
        << "a refused record";
    EXPECT_EQ(flag_after([] {
                  fc::set_wall(utc_seconds(2026, 6, 15, 12, 0, 0));
                  sf::set_value("Camera.Menu.TimeZone", "GMT+08:00");
                  (void)Zve_Comm_UpdateTimeZone("GMT+09:00");
              }),
              1)
        << "the zone change passes through the same rule";
}

}  // namespace
