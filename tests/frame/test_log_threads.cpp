// SPDX-License-Identifier: MIT
// Several threads printing at once (also run under ThreadSanitizer): every
// line whole, with a time text of its own thread's making.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "capture.hpp"
#include "comm_clock.h"
#include "comm_log.h"
#include "log_lines.hpp"

namespace {

constexpr int kThreads = 4;
constexpr int kLines = 300;

TEST(LogThreads, LinesStayWholeAndTimed) {
    Zev_Comm_SetPrintLev(5);
    std::vector<int> bad_texts(kThreads, 0);
    const std::string out = testsupport::capture_stdout([&] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([t, &bad_texts] {
                for (int i = 0; i < kLines; ++i) {
                    char format[16];
                    const bool sane =
                        ZevSysFormatRtcTime(format) == 15 && testsupport::is_time_text(ZevSysRtcTime());
                    bad_texts[static_cast<size_t>(t)] += !sane;
                    ZEV_COMM_DBG("t%d i%d\n", t, i);
                }
            });
        for (auto &th : threads) th.join();
    });
    const testsupport::ParsedLog log = testsupport::parse_log(out);
    EXPECT_EQ(log.stray, "");
    ASSERT_EQ(log.lines.size(), static_cast<size_t>(kThreads * kLines));
    std::set<std::string> seen;
    for (const auto &l : log.lines) {
        EXPECT_TRUE(testsupport::is_time_text(l.time)) << l.time;
        seen.insert(l.msg);
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines)) << "each message once";
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(bad_texts[static_cast<size_t>(t)], 0) << "thread " << t;
}

}  // namespace
