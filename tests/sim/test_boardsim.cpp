// boardsim runs programs on a simulated board whose state survives runs;
// commctl drives the library there.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "log_lines.hpp"
#include "run.hpp"
#include "tempdir.hpp"

using testsupport::run;
using testsupport::RunResult;

namespace {

class Boardsim : public ::testing::Test {
protected:
    RunResult sim(const std::vector<std::string> &program, const std::vector<std::string> &opts = {}) {
        std::vector<std::string> argv = {BOARDSIM_EXE, "--state", state_.path()};
        argv.insert(argv.end(), opts.begin(), opts.end());
        argv.push_back("--");
        argv.insert(argv.end(), program.begin(), program.end());
        return run(argv, {"ZEV_SETTINGS_FILE="});
    }
    RunResult commctl(const std::vector<std::string> &args) {
        std::vector<std::string> argv = {COMMCTL_EXE};
        argv.insert(argv.end(), args.begin(), args.end());
        return sim(argv);
    }
    std::string gpio(const std::string &rel) { return state_ / ("board/sys/class/gpio/" + rel); }
    testsupport::TempDir state_;
};

TEST_F(Boardsim, GpioClassBehavesLikeTheKernel) {
    RunResult r = commctl({"gpio", "export", "33"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(testsupport::summarise(r.out),
              std::vector<std::string>{"DDD Zev_Comm_Gpio_Export :export gpio[33] ok\n"});
    EXPECT_EQ(testsupport::read_file(gpio("gpio33/direction")), "in\n");
    EXPECT_EQ(testsupport::read_file(gpio("gpio33/value")), "0\n");

    const struct {
        std::vector<std::string> args;
        int status;
        std::string out;
    } steps[] = {
        {{"gpio", "dir", "33", "out"}, 0, ""}, {{"gpio", "set", "33", "1"}, 0, ""},
        {{"gpio", "get", "33"}, 0, "1\n"},     {{"gpio", "set", "33", "0"}, 0, ""},
        {{"gpio", "get", "33"}, 0, "0\n"},     {{"gpio", "dir", "33", "high"}, 0, ""},
        {{"gpio", "get", "33"}, 0, "1\n"},     {{"gpio", "unexport", "33"}, 0, ""},
        {{"gpio", "get", "33"}, 1, ""},
    };
    for (const auto &s : steps) {
        r = commctl(s.args);
        EXPECT_EQ(r.status, s.status) << s.args[1] << " " << r.err;
        if (s.status == 0) {
            EXPECT_EQ(r.out, s.out) << s.args[1];
        }
    }
    EXPECT_FALSE(testsupport::file_exists(gpio("gpio33")));
    EXPECT_EQ(testsupport::read_file(gpio("gpio33/direction")), "");
}

TEST_F(Boardsim, StateSurvivesRunsAndResetClearsIt) {
    ASSERT_EQ(commctl({"gpio", "export", "7"}).status, 0);
    ASSERT_EQ(commctl({"gpio", "dir", "7", "out"}).status, 0);
    ASSERT_EQ(commctl({"gpio", "set", "7", "1"}).status, 0);
    EXPECT_EQ(commctl({"gpio", "get", "7"}).out, "1\n");
    RunResult r = sim({COMMCTL_EXE, "gpio", "get", "7"}, {"--reset"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("gpio get 7 failed"), std::string::npos) << r.err;
}

TEST_F(Boardsim, ExitStatusAndErrors) {
    const struct {
        std::vector<std::string> argv;
        int status;
        const char *err;
    } cases[] = {
        {{BOARDSIM_EXE, "--state", state_.path(), "--", "/bin/sh", "-c", "exit 3"}, 3, ""},
        {{BOARDSIM_EXE, "--state", state_.path(), "--", "/nonexistent/program"}, 127, "cannot run"},
        {{BOARDSIM_EXE, "--state", state_.path()}, 2, "no program"},
        {{BOARDSIM_EXE, "--bogus", "x"}, 2, "unknown option"},
    };
    for (const auto &c : cases) {
        const RunResult r = run(c.argv);
        EXPECT_EQ(r.status, c.status) << c.argv.back();
        EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    }
    EXPECT_EQ(run({BOARDSIM_EXE, "--help"}).status, 0);
}

TEST_F(Boardsim, ProgramsSeeTheBoardNotTheMachine) {
    const RunResult r =
        sim({"/bin/sh", "-c", "cat /sys/class/gpio/export; ls /sys/class/gpio; echo $ZEV_SETTINGS_FILE"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "export\nunexport\n" + state_.path() + "/settings.conf\n");
}

// The state path reaches the board's hwclock as data: quotes, blanks and $
// in it neither break the script nor run anything. A colon, which PATH
// cannot hold, is refused before any program runs.
TEST_F(Boardsim, HwclockTakesAnyStatePath) {
    const std::string odd = state_ / "it's a \"$HOME\" dir'; touch escaped; '";
    const auto hwclock = [&](const std::string &state) {
        return run({BOARDSIM_EXE, "--state", state, "--", "/bin/sh", "-c",
                    "cd \"$1\" && hwclock --systohc && hwclock --show", "sh", state_.path()},
                   {"ZEV_SETTINGS_FILE="});
    };
    RunResult r = hwclock(odd);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.size(), sizeof "2031-05-06 07:08:09") << r.out;
    EXPECT_FALSE(testsupport::file_exists(state_ / "escaped"));
    EXPECT_TRUE(testsupport::file_exists(odd + "/board/clock/hardware"));
    r = hwclock(state_ / "a:b");
    EXPECT_NE(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("may not contain ':'"), std::string::npos) << r.err;
}

// /dev/mtdblockN answers as the kernel's block driver does: a read returns
// what exists, a write is cut at the end and fails there with ENOSPC, the
// image never grows, and no count, however large, brings boardsim down.
TEST_F(Boardsim, FlashBlockTransfersStayInTheImage) {
    const struct {
        const char *transfer, *result;
    } rows[] = {
        {"r:80000000:0", "32768 0"}, {"r:ffffffff:10", "32752 0"}, {"r:10:8000", "0 0"}, {"w:10:7ff8", "8 0"},
        {"w:80000000:0", "32768 0"}, {"w:10:8000", "-1 28"},       {"r:0:0", "0 0"},     {"w:0:0", "0 0"},
    };
    std::vector<std::string> program = {RAW_TRANSFER_EXE, "/dev/mtdblock3"};
    std::string want;
    for (const auto &row : rows) {
        program.push_back(row.transfer);
        want += std::string(row.result) + "\n";
    }
    const RunResult r = sim(program);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, want);
    EXPECT_EQ(r.err, "");  // no warnings for empty transfers
    EXPECT_EQ(testsupport::read_file(state_ / "board/dev/mtdblock3").size(), 0x8000u);
}

TEST_F(Boardsim, CommctlUsage) {
    const struct {
        std::vector<std::string> args;
        int status;
        const char *where;  // text expected on stdout (status 0) or stderr
    } cases[] = {
        {{"--help"}, 0, "commands:"},
        {{"gpio", "--help"}, 0, "usage: commctl gpio export PIN"},
        {{"clock", "--help"}, 0, "usage: commctl clock"},
        {{"log-demo", "--help"}, 0, "usage: commctl [--level N] log-demo"},
        {{}, 2, "usage: commctl"},
        {{"nonsense"}, 2, "commctl: unknown command 'nonsense'"},
        {{"gpio"}, 2, "commctl: gpio wants an operation and a pin"},
        {{"gpio", "export", "x3"}, 2, "commctl: 'x3' is not a pin number"},
        {{"gpio", "dir", "33", "sideways"}, 2, "direction must be in, out, high or low"},
        {{"gpio", "set", "33"}, 2, "gpio set wants a pin and a number"},
        {{"gpio", "wiggle", "33"}, 2, "unknown gpio operation"},
        {{"gpio", "export", "1000"}, 1, "gpio export 1000 failed (-1)"},
        {{"--level", "x", "clock"}, 2, "--level wants a number"},
        {{"clock", "extra"}, 2, "clock takes no arguments"},
    };
    for (const auto &c : cases) {
        std::vector<std::string> argv = {COMMCTL_EXE};
        argv.insert(argv.end(), c.args.begin(), c.args.end());
        const RunResult r = run(argv);
        EXPECT_EQ(r.status, c.status) << (c.args.empty() ? "" : c.args[0]);
        const std::string &text = c.status == 0 ? r.out : r.err;
        EXPECT_NE(text.find(c.where), std::string::npos) << text;
        if (c.status != 0 && !c.args.empty()) {
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one clear line: " << r.err;
        }
    }
}

TEST_F(Boardsim, LogDemoFollowsTheLevel) {
    for (int level : {0, 1, 5, 7}) {
        const RunResult r = commctl({"--level", std::to_string(level), "log-demo"});
        ASSERT_EQ(r.status, 0);
        const auto log = testsupport::parse_log(r.out);
        EXPECT_EQ(log.lines.size(), static_cast<size_t>(level)) << level;
    }
}

TEST_F(Boardsim, DemoApplicationBlinksTheLed) {
    const RunResult r = sim({DEMO_EXE});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto lines = testsupport::summarise(r.out);
    const std::vector<std::string> want = {
        "INF main :dashcam demo starting, print level 5\n",
        "DDD Zev_Comm_Gpio_Export :export gpio[33] ok\n",
        "INF blink_record_led :LED on, reads 1\n",
        "INF blink_record_led :LED off, reads 0\n",
        "INF blink_record_led :LED on, reads 1\n",
        "INF blink_record_led :LED off, reads 0\n",
        "VER main :verbose lines show at level 7\n",
        "INF pass_frames_between_threads :40 of 40 frames and 4000 of 4000 telemetry bytes came through in "
        "order\n",
        "INF main :dashcam demo done\n",
    };
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front(), want.front());
    std::vector<std::string> without_dbg;
    for (const auto &l : lines)
        if (l.rfind("DBG", 0) != 0) without_dbg.push_back(l);
    EXPECT_EQ(without_dbg, want);
}

}  // namespace
