// SPDX-License-Identifier: MIT
// The time-set flag has no way back: each case runs in a child of this program.
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "clock_fixture.hpp"

using namespace clocktest;

namespace {

void set(int32_t y, int32_t mo, int32_t d, int32_t h = 23, int32_t offset = 0) {
    const hiSYSTEM_TM_S r = rec(y, mo, d, h);
    (void)Zve_Comm_SetDateTime_TimeZone(&r, offset);
}

// All three of year, month and day must differ from the default 2025-01-01 (rows: steps, flag).
TEST_F(Clock, FlagRule) {
    // clang-format off
    const std::pair<std::function<void()>, int> cases[] = {
        {[] { set(2026, 6, 15); }, 1}, {[] { set(2025, 6, 15); }, 0}, {[] { set(2026, 1, 15); }, 0},
        {[] { set(2026, 6, 1); }, 0}, {[] { set(2025, 1, 1); }, 0}, {[] { set(2024, 12, 31); }, 1},
        {[] { set(2025, 12, 31, 23, 7200); }, 0},  // the record counts, not the clock
        {[] { set(2026, 1, 2, 23, -86400); }, 0},  // nor the clock before the offset
        {[] { set(2026, 6, 15, 24); }, 0},         // a refused record
        {[] { set(2026, 6, 15), set(2025, 1, 1), Zev_Comm_ResetToDefaultTime(); }, 1},          // no way back
        {[] { fc::set_wall(kStart + 86400 * 200), Zve_Comm_UpdateTimeZone("GMT+09:00"); }, 1}};  // same rule
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto &[steps, want] = cases[i];
        ASSERT_EQ(Zve_Comm_IsTimeSeted(), 0) << "this program never raises its own flag";
        fflush(stdout);
        const pid_t pid = fork();
        if (pid == 0) {
            Zev_Comm_SetPrintLev(0);
            steps();
            _exit(Zve_Comm_IsTimeSeted());
        }
        int st = 0;
        waitpid(pid, &st, 0);
        EXPECT_EQ(WIFEXITED(st) ? WEXITSTATUS(st) : -1, want) << "case " << i;
    }
}

}  // namespace
