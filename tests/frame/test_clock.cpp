// SPDX-License-Identifier: MIT
// Boot and wall clocks, including the 32-bit millisecond wrap.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "comm_clock.h"
#include "comm_log.h"
#include "fake_clock.hpp"

namespace {

namespace fc = testsupport::fake_clock;

TEST(Clock, BootClocksTable) {
    fc::Scope fake;
    // seconds, nanoseconds, then ms, 100 ms and seconds; at the wrap ms and 100 ms fall together, so that
    // the ms from 4294967.0 to 4294968.0 differ by 1000 as unsigned numbers and the 100 ms do not by 10.
    // clang-format off
    const std::tuple<int64_t, long, uint32_t, uint32_t, int32_t> cases[] = {
        {0, 0, 0, 0, 0}, {0, 999999, 0, 0, 0}, {1, 999000000, 1999, 19, 1}, {1, 999999999, 1999, 19, 1},
        {4294967, 0, 4294967000u, 42949670, 4294967}, {4294967, 295999999, 4294967295u, 42949672, 4294967},
        {4294967, 296000000, 0, 0, 4294967}, {4294968, 0, 704, 7, 4294968}, {4294968, 100000000, 804, 8, 4294968}};
    // clang-format on
    for (const auto &[sec, nsec, ms, ms100, secs] : cases) {
        fc::set_monotonic(sec, nsec);
        EXPECT_EQ(std::make_tuple(Zev_Comm_GetBootMs(), Zev_Comm_GetBoot100Ms(), ZevSysRnuningTime(),
                                  Zev_GetSysBootSec()),
                  std::make_tuple(ms, ms100, ms100, secs))
            << sec << "." << nsec;
    }
}

TEST(Clock, WallClockTexts) {
    fc::Scope fake;
    // The year 10000 (64-bit time_t only) is cut to the 15 characters.
    const std::pair<int64_t, std::string> cases[] = {
        {0, "19700101-000000"},
        {1758377039, "20250920-140359"},
        {2147483647, "20380119-031407"},
        {253402300800LL, sizeof(time_t) < 8 ? "" : "100000101-000000"}};
    for (const auto &[wall, text] : cases) {
        if (text.empty()) continue;
        fc::set_wall(wall);
        char buf[32];
        memset(buf, 'X', sizeof buf);
        EXPECT_EQ(ZevSysFormatRtcTime(buf), 15);
        EXPECT_EQ(std::string(buf, 17), text.substr(0, 15) + '\0' + 'X')
            << "nothing written past the terminator";
        EXPECT_EQ(ZevGetRtcSeconds(), static_cast<int32_t>(wall));
    }
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
