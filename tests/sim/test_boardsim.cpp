// SPDX-License-Identifier: MIT
// boardsim runs programs on a simulated board whose state survives runs;
// commctl drives the library there.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "comm_version.h"
#include "log_lines.hpp"
#include "run.hpp"
#include "tempdir.hpp"

using namespace testsupport;

namespace {

class Boardsim : public ::testing::Test {
protected:
    RunResult sim(const std::vector<std::string> &program, const std::vector<std::string> &opts = {}) {
        return on_board(state_.path(), program, opts);
    }
    RunResult commctl(const std::vector<std::string> &args) {
        std::vector<std::string> argv = {COMMCTL_EXE};
        argv.insert(argv.end(), args.begin(), args.end());
        return sim(argv);
    }
    std::string gpio(const std::string &rel) { return state_ / ("board/sys/class/gpio/" + rel); }
    TempDir state_;
};

TEST_F(Boardsim, GpioClassBehavesLikeTheKernel) {
    RunResult r = commctl({"--level", "5", "gpio", "export", "33"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(summarise(r.out), std::vector<std::string>{"DDD Zev_Comm_Gpio_Export :export gpio[33] ok\n"});
    EXPECT_EQ(read_file(gpio("gpio33/direction")), "in\n");
    EXPECT_EQ(read_file(gpio("gpio33/value")), "0\n");

    // clang-format off
    const struct { std::vector<std::string> args; int status; std::string out; } steps[] = {
        {{"gpio", "set", "33", "1"}, 0, ""},  /* an input refuses the value */  {{"gpio", "get", "33"}, 0, "0\n"},
        {{"gpio", "dir", "33", "out"}, 0, ""}, {{"gpio", "set", "33", "1"}, 0, ""}, {{"gpio", "get", "33"}, 0, "1\n"},
        {{"gpio", "set", "33", "0"}, 0, ""}, {{"gpio", "get", "33"}, 0, "0\n"}, {{"gpio", "dir", "33", "high"}, 0, ""},
        {{"gpio", "get", "33"}, 0, "1\n"}, {{"gpio", "unexport", "33"}, 0, ""}, {{"gpio", "get", "33"}, 1, ""}};
    // clang-format on
    for (const auto &s : steps) {
        r = commctl(s.args);
        EXPECT_EQ(r.status, s.status) << s.args[1] << " " << r.err;
        if (s.status == 0) {
            EXPECT_EQ(r.out, s.out) << s.args[1];
        }
    }
    EXPECT_FALSE(file_exists(gpio("gpio33")));
    // A four-letter direction reaches the library's log line whole.
    r = commctl({"--level", "4", "gpio", "dir", "33", "high"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(summarise(r.out),
              std::vector<std::string>{"DBG Zev_Comm_Gpio_SetDirection :fail direction[high] gpio[33]\n"});
    EXPECT_EQ(read_file(gpio("gpio33/direction")), "");

    // The line keeps its direction and level while unexported; 64 is beyond
    // the board's lines, and the kernel's refusal goes unseen.
    ASSERT_EQ(commctl({"gpio", "export", "33"}).status, 0);
    EXPECT_EQ(read_file(gpio("gpio33/direction")), "out\n");
    EXPECT_EQ(commctl({"gpio", "get", "33"}).out, "1\n");
    EXPECT_EQ(commctl({"gpio", "export", "64"}).status, 0);
    EXPECT_FALSE(file_exists(gpio("gpio64")));
    // --reset builds the board afresh: no exported pins.
    ASSERT_EQ(commctl({"gpio", "export", "7"}).status, 0);
    r = sim({COMMCTL_EXE, "gpio", "get", "7"}, {"--reset"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("gpio get 7 failed"), std::string::npos) << r.err;
}

TEST_F(Boardsim, ExitStatusAndErrors) {
    // clang-format off
    const struct { std::vector<std::string> argv; int status; const char *err; } cases[] = {
        {{BOARDSIM_EXE, "--state", state_.path(), "--", "/bin/sh", "-c", "exit 3"}, 3, ""},
        {{BOARDSIM_EXE, "--state", state_.path(), "--", "/nonexistent/program"}, 127, "cannot run"},
        {{BOARDSIM_EXE, "--state", state_.path()}, 2, "no program"},
        {{BOARDSIM_EXE, "--bogus", "x"}, 2, "unknown option"},
        {{BOARDSIM_EXE, "--pmu-voltag=1", "--", "true"}, 2, "unknown board option '--pmu-voltag=1'"},
        {{BOARDSIM_EXE, "--state", state_.path(), "--pmu-voltage=11000", "--", "true"}, 0, ""}};
    // clang-format on
    for (const auto &c : cases) {
        const RunResult r = run(c.argv);
        EXPECT_EQ(r.status, c.status) << c.argv.back();
        EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    }
    const RunResult help = run({BOARDSIM_EXE, "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *option :
         {"--temp-test=", "--sd=", "--pmu-fail=", "--pmu-charge-current=", "--uart-script="})
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
}

TEST_F(Boardsim, CommctlListsEveryCommandOnceInNameOrder) {
    const std::string help = run({COMMCTL_EXE, "--help"}).out;
    std::vector<std::string> names;
    std::istringstream in(help.substr(help.find("Commands:\n") + 10));
    for (std::string line; std::getline(in, line);) names.push_back(line.substr(2, line.find(' ', 2) - 2));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end())) << help;
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end()) << help;
    EXPECT_EQ(names.size() > 2 ? names.front() + " " + names.back() : help, "clock video");
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
    EXPECT_FALSE(file_exists(state_ / "escaped"));
    EXPECT_TRUE(file_exists(odd + "/board/clock/hardware"));
    r = hwclock(state_ / "a:b");
    EXPECT_NE(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("may not contain ':'"), std::string::npos) << r.err;
}

// /dev/mtdblockN answers as the kernel's block driver does: a read returns
// what exists, a write is cut at the end and fails there with ENOSPC, the
// image never grows, and no count, however large, brings boardsim down.
TEST_F(Boardsim, FlashBlockTransfersStayInTheImage) {
    // clang-format off
    const struct { const char *transfer, *result; } rows[] = {
        {"r:80000000:0", "32768 0"}, {"r:ffffffff:10", "32752 0"}, {"r:10:8000", "0 0"}, {"w:10:7ff8", "8 0"},
        {"w:80000000:0", "32768 0"}, {"w:10:8000", "-1 28"},       {"r:0:0", "0 0"},     {"w:0:0", "0 0"}};
    // clang-format on
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
    EXPECT_EQ(read_file(state_ / "board/dev/mtdblock3").size(), 0x8000u);
}

TEST_F(Boardsim, CommctlUsage) {
    // where: text expected on stdout (status 0) or stderr
    // clang-format off
    const struct { std::vector<std::string> args; int status; const char *where; } cases[] = {
        {{"--help"}, 0, "Commands:"}, {{"--version"}, 0, "commctl (libcomm) " COMM_VERSION_STRING "\n"},
        {{"-V"}, 0, "commctl (libcomm) " COMM_VERSION_STRING "\n"},
        {{"run", "echo", "--help"}, 0, "--help"},  // an operand: echo gets it
        {{"--bogus", "clock"}, 2, "commctl: unknown option '--bogus'"}, {{"-q", "clock"}, 2, "commctl: unknown option '-q'"},
        {{"--level"}, 2, "--level wants a value"}, {{"--", "--help"}, 2, "unknown command '--help'"},
        {{"gpio", "export", "--5"}, 2, "'--5' is not a pin number"}, {{"gpio", "export", "0x-5"}, 2, "'0x-5' is not a pin number"},
        {{"gpio", "export", "-0x"}, 2, "'-0x' is not a pin number"}, {{"gpio", "--help"}, 0, "usage: commctl gpio export PIN"},
        {{"clock", "--help"}, 0, "usage: commctl clock"}, {{"log-demo", "--help"}, 0, "usage: commctl [--level N] log-demo"},
        {{}, 2, "Usage: commctl"}, {{"nonsense"}, 2, "commctl: unknown command 'nonsense'"},
        {{"gpio", "export", "x3"}, 2, "commctl: 'x3' is not a pin number"},
        {{"gpio", "dir", "33", "sideways"}, 2, "direction must be in, out, high or low"},
        {{"gpio", "export", "1000"}, 1, "gpio export 1000 failed (-1)"}, {{"--level", "x", "clock"}, 2, "--level wants a number"}};
    // clang-format on
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

TEST_F(Boardsim, LogLinesOnlyWhenAskedFor) {
    // clang-format off
    const struct { std::vector<std::string> opts; size_t lines; } cases[] = {
        {{}, 0}, {{"--level", "1"}, 1}, {{"--level=7"}, 7}, {{"-v"}, 5}, {{"-vv"}, 6}, {{"-vvvv"}, 7}};
    // clang-format on
    for (const auto &c : cases) {
        std::vector<std::string> args = c.opts;
        args.push_back("log-demo");
        const RunResult r = commctl(args);
        ASSERT_EQ(r.status, 0);
        EXPECT_EQ(parse_log(r.out).lines.size(), c.lines) << args.front();
    }
    // Quiet by default: the date is its four data lines, nothing else.
    const RunResult date = commctl({"date"});
    EXPECT_EQ(std::count(date.out.begin(), date.out.end(), '\n'), 4) << date.out;
    EXPECT_EQ(date.out.find('\x1b'), std::string::npos) << date.out;
}

TEST_F(Boardsim, DemoApplicationBlinksTheLed) {
    const RunResult r = sim({DEMO_EXE});
    ASSERT_EQ(r.status, 0) << r.err;
    auto lines = summarise(r.out);
    const std::string on = "INF blink_record_led :LED on, reads 1\n",
                      off = "INF blink_record_led :LED off, reads 0\n";
    // clang-format off
    const std::vector<std::string> want = {"INF main :dashcam demo starting, print level 5\n",
        "DDD Zev_Comm_Gpio_Export :export gpio[33] ok\n", on, off, on, off, "VER main :verbose lines show at level 7\n",
        "INF pass_frames_between_threads :40 of 40 frames and 4000 of 4000 telemetry bytes came through in order\n",
        "INF main :dashcam demo done\n"};
    // clang-format on
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front(), want.front());
    std::erase_if(lines, [](const std::string &l) { return l.rfind("DBG", 0) == 0; });
    EXPECT_EQ(lines, want);
}

}  // namespace
