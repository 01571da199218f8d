// The board's clock end to end: commctl sets it inside boardsim, the board's
// hwclock saves and loads it, and the PC's clock stays where it is. boardsim
// gives up the right to set the PC's clock; where a user namespace can be
// made, every run is also inside one, which cannot set it either.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "../sim/run.hpp"
#include "tempdir.hpp"

using testsupport::run;
using testsupport::RunResult;

namespace {

bool user_namespace_works() {
    static const bool works = run({"unshare", "-Ur", "true"}).status == 0;
    return works;
}

class BoardClock : public ::testing::Test {
protected:
    void SetUp() override { pc_before_ = time(nullptr); }
    void TearDown() override {
        const time_t now = time(nullptr);
        EXPECT_GE(now, pc_before_) << "the PC's clock went back";
        EXPECT_LT(now - pc_before_, 120) << "the PC's clock jumped";
    }
    RunResult sim(const std::vector<std::string> &program) {
        std::vector<std::string> argv;
        if (user_namespace_works()) argv = {"unshare", "-Ur"};
        for (const std::string &a :
             {std::string(BOARDSIM_EXE), std::string("--state"), state_.path(), std::string("--")})
            argv.push_back(a);
        argv.insert(argv.end(), program.begin(), program.end());
        return run(argv, {"ZEV_SETTINGS_FILE="});
    }
    RunResult commctl(std::vector<std::string> args) {
        args.insert(args.begin(), {COMMCTL_EXE, "--level", "0"});
        return sim(args);
    }
    static bool has_line(const std::string &out, const std::string &prefix) {
        return out.find("\n" + prefix) != std::string::npos || out.rfind(prefix, 0) == 0;
    }
    testsupport::TempDir state_;
    time_t pc_before_ = 0;
};

TEST_F(BoardClock, SetSaveLoadAndZone) {
    const struct {
        std::vector<std::string> program;
        int status;
        std::vector<std::string> lines;  // line beginnings expected in stdout
    } steps[] = {
        {{COMMCTL_EXE, "--level", "0", "date", "set", "2031-05-06", "07:08:09"},
         0,
         {"system clock 2031-05-06 07:08:", "local time   2031-05-06 15:08:", "time set     1"}},
        {{"hwclock", "--show"}, 0, {"2031-05-06 07:08:"}},  // saved with the clock
        {{"date", "-u", "+%Y"}, 0, {"2031"}},               // every program sees the board's clock
        {{"sh", "-c", "date -s @1600000000 >/dev/null && date -u +%Y"}, 0, {"2020"}},
        {{"hwclock"}, 0, {"2031-05-06 07:08:"}},  // the hardware clock kept its time
        {{COMMCTL_EXE, "--level", "0", "date", "from-rtc"}, 0, {"system clock 2031-05-06 07:08:"}},
        {{COMMCTL_EXE, "--level", "0", "date", "zone", "GMT+09:00"},
         0,
         {"system clock 2031-05-06 08:08:", "zone         GMT+09:00 (+32400 s)"}},
        {{COMMCTL_EXE, "--level", "0", "date", "set-utc", "2032-02-03", "04:05:06"},
         0,
         {"system clock 2032-02-03 13:05:", "local time   2032-02-03 22:05:"}},
        {{COMMCTL_EXE, "--level", "0", "date"}, 0, {"system clock 2032-02-03 13:05:", "time set     0"}},
        {{COMMCTL_EXE, "--level", "0", "date", "set", "1970-06-15", "12:00:00"}, 1, {}},
        {{COMMCTL_EXE, "date", "set", "2031-05-06"}, 2, {}},
        {{COMMCTL_EXE, "date", "set", "2031-5-6x", "07:08:09"}, 2, {}},
        {{COMMCTL_EXE, "date", "moon"}, 2, {}},
    };
    for (const auto &s : steps) {
        const RunResult r = sim(s.program);
        const std::string what = s.program.size() > 3 ? s.program[3] + " " + s.program.back() : s.program[0];
        EXPECT_EQ(r.status, s.status) << what << "\n" << r.out << r.err;
        for (const std::string &l : s.lines)
            EXPECT_TRUE(has_line(r.out, l)) << what << ": " << l << "\n" << r.out;
    }
    EXPECT_NE(testsupport::read_file(state_ / "settings.conf").find("Camera.Menu.TimeZone=GMT+09:00"),
              std::string::npos);
}

TEST_F(BoardClock, OutsideTheBoardSettersAskFirst) {
    for (const std::vector<std::string> &args : std::vector<std::vector<std::string>>{
             {"date", "set", "2031-05-06", "07:08:09"}, {"date", "zone", "GMT"}, {"date", "from-rtc"}}) {
        std::vector<std::string> argv = {COMMCTL_EXE};
        argv.insert(argv.end(), args.begin(), args.end());
        const RunResult r = run(argv, {"BOARDSIM_ROOT=", "ZEV_SETTINGS_FILE=" + state_ / "settings.conf"});
        EXPECT_EQ(r.status, 2) << args[1];
        EXPECT_NE(r.err.find("--system-clock"), std::string::npos) << r.err;
    }
    EXPECT_FALSE(testsupport::file_exists(state_ / "settings.conf")) << "nothing was stored";
}

TEST_F(BoardClock, RunPrintsWhatCameBack) {
    const struct {
        std::vector<std::string> args;
        int status;
        std::string out;
    } cases[] = {
        {{"run", "echo", "hi", "there"}, 0, "hi there\n"},
        {{"run", "printf", "'a%sb'", "-"}, 0, "a-b"},
        {{"run", "true"}, 1, ""},
        {{"run"}, 2, ""},
    };
    for (const auto &c : cases) {
        const RunResult r = commctl(c.args);
        EXPECT_EQ(r.status, c.status) << c.args.back() << r.err;
        EXPECT_EQ(r.out, c.out) << c.args.back();
    }
}

}  // namespace
