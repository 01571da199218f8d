// SPDX-License-Identifier: MIT
// The clock tests' fake clock, settings fake, stub hwclock and own calendar.
#pragma once

#include <gtest/gtest.h>

#include "comm_datetime.h"
#include "comm_log.h"
#include "fake_clock.hpp"
#include "settings_fake.hpp"
#include "stub_commands.hpp"

namespace clocktest {

namespace fc = testsupport::fake_clock;
namespace sf = testsupport::settings_fake;
using testsupport::Lines;
using testsupport::logged;

inline constexpr int64_t kStart = 1767225600;  // 2026-01-01 00:00:00

// Seconds since the Epoch of a UTC date (64 bits; days run past a month's end).
inline int64_t utc_seconds(int64_t y, int64_t m, int64_t d, int64_t hh = 0, int64_t mm = 0, int64_t ss = 0) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400, yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    return (era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468) * 86400 + hh * 3600 + mm * 60 + ss;
}
inline int64_t utc_seconds(const hiSYSTEM_TM_S &r) {
    return utc_seconds(r.s32year, r.s32mon, r.s32mday, r.s32hour, r.s32min, r.s32sec);
}
inline hiSYSTEM_TM_S rec(int32_t y, int32_t mo, int32_t d, int32_t h = 0, int32_t mi = 0, int32_t s = 0) {
    return hiSYSTEM_TM_S{s, mi, h, d, mo, y};
}

struct Clock : ::testing::Test {
    void SetUp() override {
        sf::reset();
        stubs_.add("hwclock");
        fc::set_wall(kStart);
        Zev_Comm_SetPrintLev(5);
    }
    testsupport::StubCommands stubs_;
    fc::Scope fake_;
};

}  // namespace clocktest
