// The simulated board's PWM controller, serial line and SD card recording,
// driven end to end through commctl.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../sim/run.hpp"
#include "log_lines.hpp"
#include "tempdir.hpp"

using testsupport::read_file;
using testsupport::run;
using testsupport::RunResult;

namespace {

class BoardParts : public ::testing::Test {
protected:
    RunResult sim(const std::vector<std::string> &program, const std::vector<std::string> &opts = {}) {
        std::vector<std::string> argv = {BOARDSIM_EXE, "--state", state_.path()};
        argv.insert(argv.end(), opts.begin(), opts.end());
        argv.push_back("--");
        argv.insert(argv.end(), program.begin(), program.end());
        return run(argv, {"ZEV_SETTINGS_FILE="});
    }
    RunResult commctl(const std::vector<std::string> &args, const std::vector<std::string> &opts = {}) {
        std::vector<std::string> argv = {COMMCTL_EXE, "--level", "3"};
        argv.insert(argv.end(), args.begin(), args.end());
        return sim(argv, opts);
    }
    std::string chip(const std::string &rel) {
        return read_file(state_ / ("board/sys/class/pwm/pwmchip0/" + rel));
    }
    bool chip_has(const std::string &rel) {
        return testsupport::file_exists(state_ / ("board/sys/class/pwm/pwmchip0/" + rel));
    }
    testsupport::TempDir state_;
};

TEST_F(BoardParts, PwmChipBehavesLikeTheKernel) {
    RunResult r = commctl({"pwm", "init", "3"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(chip("pwm3/period"), "0\n");
    EXPECT_EQ(chip("pwm3/enable"), "0\n");
    EXPECT_EQ(chip("pwm3/polarity"), "normal\n");
    EXPECT_EQ(chip("export"), "");
    const struct {
        std::vector<std::string> args;
        int status;
        const char *attr;
        std::string shown;
    } steps[] = {
        {{"pwm", "set", "3", "1000000", "400000", "inversed"}, 0, "period", "1000000\n"},
        {{"pwm", "set", "3", "50", "7", "normal"}, 0, "period", "50\n"},  // shorter text replaces the longer
        {{"pwm", "set", "3", "50", "7", "normal"}, 0, "duty_cycle", "7\n"},
        {{"pwm", "set", "3", "50", "7", "normal"}, 0, "polarity", "normal\n"},
        {{"pwm", "start", "3"}, 0, "enable", "1\n"},
        {{"pwm", "stop", "3"}, 0, "enable", "0\n"},
        {{"pwm", "set", "3", "10", "20"}, 2, "duty_cycle", "7\n"},
        {{"pwm", "start", "4"}, 1, "enable", "0\n"},  // not exported
    };
    for (const auto &s : steps) {
        r = commctl(s.args);
        EXPECT_EQ(r.status, s.status) << s.args[1] << " " << r.err;
        EXPECT_EQ(chip(std::string("pwm3/") + s.attr), s.shown) << s.args[1];
    }
    r = commctl({"pwm", "status", "3"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "channel    3\nperiod     50 ns\nduty_cycle 7 ns\npolarity   normal\nenabled    no\n");
    // Channels beyond the controller's eight are refused by the kernel.
    EXPECT_EQ(commctl({"pwm", "init", "8"}).status, 0);
    EXPECT_FALSE(chip_has("pwm8"));
    EXPECT_EQ(commctl({"pwm", "deinit", "3"}).status, 0);
    EXPECT_FALSE(chip_has("pwm3"));
    EXPECT_EQ(commctl({"pwm", "status", "3"}).status, 1);
}

TEST_F(BoardParts, SerialLineFedFromAFileOrAScript) {
    ASSERT_TRUE(testsupport::write_file(state_ / "feed.bin", std::string("\x01\x02\xFFhello\x00z", 9)));
    const struct {
        std::string option;
        std::string length;
        int status;
        std::string out;
    } cases[] = {
        {"--uart-feed=" + (state_ / "feed.bin"), "9", 0, "0000: 01 02 ff 68 65 6c 6c 6f 00\n"},
        {"--uart-script=printf 0123456789abcdefXY", "18", 0,
         "0000: 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66\n0010: 58 59\n"},
        {"--uart-script=printf abc", "5", 1, "0000: 61 62 63\n"},
        {"--uart-feed=", "2", 1, ""},  // a silent line
    };
    for (const auto &c : cases) {
        const RunResult r =
            sim({"sh", "-c", "\"$0\" uart recv \"$BOARDSIM_UART\" 115200 " + c.length + " 1500", COMMCTL_EXE},
                {c.option});
        EXPECT_EQ(r.status, c.status) << c.option << r.err;
        EXPECT_EQ(r.out, c.out) << c.option;
    }
}

TEST_F(BoardParts, SampleRecordingOnTheSdCard) {
    const RunResult r = sim({"sh", "-c", "\"$0\" mp4 \"$BOARDSIM_SDCARD/DCIM/sample.mp4\"", COMMCTL_EXE});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "duration_ms 60000\nfps_word0   30 (0x0000001e)\nfps_word1   30000 (0x00007530)\n");
}

}  // namespace
