// What the clock-setting tests share: a fake clock started at kStart, the
// recording settings fake, a stub hwclock first on PATH, and a calendar of
// their own to compute expected clocks without the C library.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_datetime.h"
#include "comm_log.h"
#include "fake_clock.hpp"
#include "log_lines.hpp"
#include "settings_fake.hpp"
#include "stub_commands.hpp"

namespace clocktest {

namespace fc = testsupport::fake_clock;
namespace sf = testsupport::settings_fake;
using Lines = std::vector<std::string>;

inline constexpr int64_t kStart = 1767225600;  // 2026-01-01 00:00:00, the fake clock's start

// Seconds since the Epoch of a UTC date, in 64 bits (no C library involved).
inline int64_t utc_seconds(int64_t y, int64_t m, int64_t d, int64_t hh, int64_t mm, int64_t ss) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return (era * 146097 + doe - 719468) * 86400 + hh * 3600 + mm * 60 + ss;
}

inline hiSYSTEM_TM_S rec(int32_t y, int32_t mo, int32_t d, int32_t h = 0, int32_t mi = 0, int32_t s = 0) {
    return hiSYSTEM_TM_S{s, mi, h, d, mo, y};
}

class SetClock : public ::testing::Test {
protected:
    void SetUp() override {
        sf::reset();
        stubs_.add("hwclock");
        fake_.emplace();
        fc::set_wall(kStart);
        Zev_Comm_SetPrintLev(5);
    }
    void TearDown() override {
        fake_.reset();
        sf::reset();
    }
    // Runs fn with stdout captured; returns the "TAG func :msg" lines.
    template <typename Fn>
    Lines logged(Fn &&fn) {
        return testsupport::summarise(testsupport::capture_stdout(fn));
    }
    testsupport::StubCommands stubs_;
    std::optional<fc::Scope> fake_;
};

}  // namespace clocktest
