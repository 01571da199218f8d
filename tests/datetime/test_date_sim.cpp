// SPDX-License-Identifier: MIT
// The board's clock end to end: commctl sets it inside boardsim (and a user
// namespace where one can be made), hwclock saves it, the PC's clock stays.
#include <gtest/gtest.h>

#include <ctime>
#include <tuple>

#include "run.hpp"
#include "tempdir.hpp"

namespace {

TEST(BoardClock, DateCommandsOnTheBoard) {
    const time_t pc_before = time(nullptr);
    testsupport::TempDir state;
    const bool userns = testsupport::run({"unshare", "-Ur", "true"}).status == 0;
    const std::string ctl = COMMCTL_EXE;
    // program run on the board, exit status, a line start expected in stdout
    const std::tuple<std::vector<std::string>, int, std::string> steps[] = {
        {{ctl, "date", "set", "2031-05-06", "07:08:09"}, 0, "system clock 2031-05-06 07:08:"},
        {{"hwclock", "--show"}, 0, "2031-05-06 07:08:"},  // saved with the clock
        {{"sh", "-c", "date -s @1600000000 >/dev/null && date -u +%Y"}, 0, "2020"},
        {{ctl, "date", "from-rtc"}, 0, "system clock 2031-05-06 07:08:"},
        {{ctl, "date", "zone", "GMT+09:00"}, 0, "zone         GMT+09:00 (+32400 s)"},
        {{ctl, "date", "set-utc", "2032-02-03", "04:05:06"}, 0, "local time   2032-02-03 22:05:"},
        {{ctl, "date", "set", "1970-06-15", "12:00:00"}, 1, ""},
        {{ctl, "date", "set", "2031-5-6x", "07:08:09"}, 2, ""},
        {{ctl, "run", "echo", "hi", "there"}, 0, "hi there"},
    };
    for (const auto &[program, status, line] : steps) {
        std::vector<std::string> argv = {BOARDSIM_EXE, "--state", state.path(), "--"};
        if (userns) argv.insert(argv.begin(), {"unshare", "-Ur"});
        argv.insert(argv.end(), program.begin(), program.end());
        const testsupport::RunResult r = testsupport::run(argv, {"ZEV_SETTINGS_FILE="});
        EXPECT_EQ(r.status, status) << program[1] << "\n" << r.out << r.err;
        EXPECT_NE(("\n" + r.out).find("\n" + line), std::string::npos) << line << "\n" << r.out;
    }
    // Outside the board, a setter wants the PC's clock named first.
    const auto r = testsupport::run({ctl, "date", "zone", "GMT"},
                                    {"BOARDSIM_ROOT=", "ZEV_SETTINGS_FILE=" + state / "x"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("--system-clock"), std::string::npos) << r.err;
    EXPECT_FALSE(testsupport::file_exists(state / "x")) << "nothing was stored";
    EXPECT_LT(static_cast<unsigned long>(time(nullptr) - pc_before), 120ul) << "the PC's clock moved";
}

}  // namespace
