// SPDX-License-Identifier: MIT
// The log line, the print level with its lock, and the check macros.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "fake_clock.hpp"
#include "log_lines.hpp"

using namespace testsupport;

namespace {

// Puts the frame back to its load state between tests.
class Frame : public ::testing::Test {
protected:
    void SetUp() override { restore(); }
    void TearDown() override { restore(); }
    static void restore() {
        Zev_Comm_SetLockPrintLev(-1);
        Zev_Comm_SetPrintLev(5);
    }
};

// Printed from level 1, 2, ...
const std::string kTags[] = {"ERR", "WAR", "INF", "DBG", "DDD", "VER", "VVV"};

std::string emit_all() {
    return capture_stdout([] {
        ZEV_COMM_ERR("e %d\n", 1);
        ZEV_COMM_WAR("w %s\n", "two");
        ZEV_COMM_INF("i\n");
        ZEV_COMM_DBG("d\r\n");
        ZEV_COMM_DDD("dd %c\n", 'x');
        ZEV_COMM_VER("v %u\n", 6u);
        ZEV_COMM_VVV("vv\n");
    });
}

// Read before main runs, so before any test has set the level.
const int32_t kLevelAtLoad = Zev_Comm_GetPrintLev();

TEST_F(Frame, EachLevelPrintsTheTagsAtOrBelowIt) {
    EXPECT_EQ(kLevelAtLoad, 5);  // what level 5 prints is checked below
    for (int level = -1; level <= 8; ++level) {
        Zev_Comm_SetPrintLev(level);
        const int effective = level > 6 ? 7 : level;
        EXPECT_EQ(Zev_Comm_GetPrintLev(), effective) << "level " << level;
        const ParsedLog log = parse_log(emit_all());
        EXPECT_EQ(log.stray, "") << "level " << level;
        const std::vector<std::string> want(kTags, kTags + std::max(effective, 0));
        std::vector<std::string> got;
        for (const auto &l : log.lines) got.push_back(l.tag);
        EXPECT_EQ(got, want) << "level " << level;
    }
}

TEST_F(Frame, LineIsTheFixedFormatToTheByte) {
    Zev_Comm_SetPrintLev(7);
    const std::string out = emit_all();
    const auto log = parse_log(out);
    ASSERT_EQ(log.lines.size(), 7u);
    const char *msgs[] = {"e 1\n", "w two\n", "i\n", "d\r\n", "dd x\n", "v 6\n", "vv\n"};
    for (size_t i = 0; i < 7; ++i) {
        const auto &l = log.lines[i];
        EXPECT_EQ(l.tag, kTags[i]);
        EXPECT_EQ(l.open, open_sequence(l.tag)) << l.tag;
        EXPECT_EQ(l.func, "operator()");  // the lambda that logged
        EXPECT_EQ(l.msg, msgs[i]);
        EXPECT_TRUE(is_time_text(l.time)) << l.time;
    }
    // The colour sequences are distinct where the tags differ in colour.
    EXPECT_NE(out.find("\x1b[0;32;31m["), std::string::npos);
    EXPECT_NE(out.find("\x1b[1;33m["), std::string::npos);
    EXPECT_NE(out.find("\x1b[0;35m["), std::string::npos);
}

void logs_at_known_line(int &line) {
    line = __LINE__ + 1;
    ZEV_COMM_DBG("%s=%d\r\n", "key", 42);
}

TEST_F(Frame, TimeFieldsComeFromTheClocks) {
    fake_clock::Scope fake;
    fake_clock::set_wall(1758377039);  // 2025-09-20 14:03:59 UTC
    fake_clock::set_monotonic(123, 456000000);
    int line = 0;
    const std::string out = capture_stdout([&] { logs_at_known_line(line); });
    const std::string want = "\x1b[0;33m[250920 14:03:59 000123.4][DBG]\x1b[m logs_at_known_line " +
                             std::to_string(line) + " :key=42\r\n";
    EXPECT_EQ(out, want);
}

TEST_F(Frame, YearTextEdges) {
    fake_clock::Scope fake;
    fake_clock::set_monotonic(0, 0);
    // Before 2000 the year field is negative, before 2010 one digit behind a blank; 1970, the turns of
    // 1999/2000 and 2009/2010, the last second of a 32-bit time_t.
    // clang-format off
    const std::pair<int64_t, const char *> cases[] = {
        {0, "-300101 00:00:00"}, {946684799, "-11231 23:59:59"}, {946684800, " 00101 00:00:00"},
        {1262303999, " 91231 23:59:59"}, {1262304000, "100101 00:00:00"}, {2147483647, "380119 03:14:07"}};
    // clang-format on
    for (const auto &[wall, text] : cases) {
        fake_clock::set_wall(wall);
        EXPECT_STREQ(ZevSysRtcTime(), text) << wall;
    }
}

TEST_F(Frame, RunningTimeWrapsWithTheMillisecondCount) {
    fake_clock::Scope fake;
    // The last value before the wrap, 2^32 ms, and the second wrap.
    // clang-format off
    const std::tuple<int64_t, long, uint32_t, const char *> cases[] = {
        {0, 0, 0, "000000.0"}, {1, 999000000, 19, "000001.9"}, {4294967, 295000000, 42949672, "4294967.2"},
        {4294967, 296000000, 0, "000000.0"}, {4294968, 0, 7, "000000.7"}, {8589934, 592000000, 0, "000000.0"}};
    // clang-format on
    for (const auto &[sec, nsec, tenths, text] : cases) {
        fake_clock::set_monotonic(sec, nsec);
        EXPECT_EQ(ZevSysRnuningTime(), tenths) << sec;
        const auto log = parse_log(capture_stdout([] { ZEV_COMM_ERR("x\n"); }));
        ASSERT_EQ(log.lines.size(), 1u);
        char field[32];
        snprintf(field, sizeof field, "%06lld.%d", log.lines[0].seconds, log.lines[0].tenths);
        EXPECT_STREQ(field, text) << sec;
    }
}

TEST_F(Frame, SilencedStatementFormatsNothing) {
    Zev_Comm_SetPrintLev(1);
    int evaluated = 0;
    auto count = [&] { return ++evaluated; };
    const std::string out = capture_stdout([&] { ZEV_COMM_DBG("%d\n", count()); });
    EXPECT_EQ(out, "");
    EXPECT_EQ(evaluated, 0);
}

TEST_F(Frame, SetLevelTable) {
    // lock, level before, level set, level after
    const std::tuple<int, int, int, int> cases[] = {
        {-1, 5, 7, 7}, {-1, 5, 100, 7}, {-1, 5, 6, 6},
        {-1, 5, 0, 0}, {-1, 5, -3, -3}, {-1, 5, INT32_MIN, INT32_MIN},
        {0, 5, 7, 0},  {1, 4, 3, 0},    {-2, 5, 6, 0}};
    for (const auto &[lock, before, set, after] : cases) {
        Zev_Comm_SetLockPrintLev(-1);
        Zev_Comm_SetPrintLev(before);
        Zev_Comm_SetLockPrintLev(lock);
        EXPECT_EQ(Zev_Comm_GetPrintLev(), before) << "locking alone keeps the level";
        Zev_Comm_SetPrintLev(set);
        EXPECT_EQ(Zev_Comm_GetPrintLev(), after) << "lock " << lock << " set " << set;
    }
}

TEST_F(Frame, UnlockKeepsZeroUntilTheNextSet) {
    Zev_Comm_SetLockPrintLev(0);
    Zev_Comm_SetPrintLev(7);
    EXPECT_EQ(Zev_Comm_GetPrintLev(), 0);
    EXPECT_EQ(parse_log(emit_all()).lines.size(), 0u);
    Zev_Comm_SetPrintLev(5);
    EXPECT_EQ(Zev_Comm_GetPrintLev(), 0) << "still locked";
    Zev_Comm_SetLockPrintLev(-1);
    EXPECT_EQ(Zev_Comm_GetPrintLev(), 0);
    Zev_Comm_SetPrintLev(6);
    EXPECT_EQ(Zev_Comm_GetPrintLev(), 6);
}

int check_pointer(const int *p) {
    ZEV_COMM_CHECK_POINTER(p);
    return 0;
}

struct Date {
    int s32mon, s32year;
};

int check_date(const Date *pstDateTime) {
    ZEV_COMM_CHECK_POINTER(pstDateTime);
    ZEV_COMM_CHECK_EXPR(1970 < pstDateTime->s32year);
    ZEV_COMM_CHECK_EXPR(ZEV_COMM_CHECK_RANGE(pstDateTime->s32mon, 1, 12));
    return 0;
}

TEST_F(Frame, CheckMacrosReturnAndLogTheSourceText) {
    const Date ok{12, 2025}, low_month{0, 2025}, neg_month{-1, 2025}, high_month{13, 2025}, old{1, 1970};
    const std::string range =
        "ERR check_date :expr[ZEV_COMM_CHECK_RANGE(pstDateTime->s32mon, 1, 12)] false\n";
    // clang-format off
    const std::tuple<const Date *, int, std::string> cases[] = {{&ok, 0, ""},
        {nullptr, -1, "ERR check_date :pointer[pstDateTime] is NULL\n"},
        {&old, -2, "ERR check_date :expr[1970 < pstDateTime->s32year] false\n"},
        {&low_month, -2, range}, {&neg_month, -2, range}, {&high_month, -2, range}};
    // clang-format on
    for (int level : {5, 0}) {
        Zev_Comm_SetPrintLev(level);
        for (const auto &[date, result, line] : cases) {
            EXPECT_EQ(logged([d = date] { return check_date(d); }),
                      std::pair(result, line.empty() || level == 0 ? Lines{} : Lines{line}));
        }
    }
    int x = 0;
    EXPECT_EQ(check_pointer(&x), 0);
}

}  // namespace
