// Waiting for a path: the number of tests, the pauses between them, and the
// path that shows up during a pause. usleep is recorded, never slept.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_sd.h"
#include "fake_sleep.hpp"
#include "log_lines.hpp"
#include "tempdir.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;
namespace fake_sleep = testsupport::fake_sleep;

namespace {

constexpr int kNever = -1;
constexpr int kAtOnce = -2;

TEST(WaitForFolder, TestsAndPauses) {
    Zev_Comm_SetPrintLev(7);
    const struct {
        const char *name;
        int32_t interval;
        int32_t timeout;
        int appears;  // kAtOnce, kNever, or during the pause with this index
        int32_t result;
        std::vector<unsigned> pauses;
    } cases[] = {
        {"there at once", 300, 1000, kAtOnce, 1, {}},
        {"never", 300, 1000, kNever, 0, {300000, 300000, 300000}},
        {"during the second pause", 300, 1000, 1, 1, {300000, 300000}},
        {"during the last pause: too late", 300, 1000, 2, 0, {300000, 300000, 300000}},
        {"exact division", 250, 1000, kNever, 0, {250000, 250000, 250000, 250000}},
        {"time-out below the interval", 500, 400, kAtOnce, 0, {}},
        {"no time", 100, 0, kAtOnce, 0, {}},
        {"negative time-out", 100, -1000, kAtOnce, 0, {}},
        {"interval 0, there", 0, 1000, kAtOnce, 1, {}},
        {"interval 0, missing", 0, 1000, kNever, 0, {}},
        {"negative interval", -5, 1000, kNever, 0, {}},
        {"long pauses in steps", 2500, 5000, kNever, 0, {1000000, 1000000, 500000, 1000000, 1000000, 500000}},
    };
    for (const auto &c : cases) {
        testsupport::TempDir dir;
        const std::string target = dir / "mnt";
        if (c.appears == kAtOnce) {
            ASSERT_TRUE(testsupport::write_file(target, ""));
        }
        fake_sleep::reset();
        fake_sleep::on_pause([&](size_t index, unsigned) {
            if (static_cast<int>(index) == c.appears) testsupport::write_file(target, "");
        });
        int32_t r = -1;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_Waitfor_Folder(target.c_str(), c.interval, c.timeout); }));
        EXPECT_EQ(r, c.result) << c.name;
        EXPECT_EQ(fake_sleep::pauses(), c.pauses) << c.name;
        const std::string line = c.result == 1 ? "DBG Zev_Comm_Waitfor_Folder :get " + target + "\n"
                                               : "DBG Zev_Comm_Waitfor_Folder :" + target + " timeout\n";
        EXPECT_EQ(lines, std::vector<std::string>{line}) << c.name;
    }
    fake_sleep::reset();
}

}  // namespace
