// SPDX-License-Identifier: MIT
// commctl's media, PWM and serial commands end to end on the simulated board:
// the happy path and a failure of each, one shared state folder in row order.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "media_test.hpp"
#include "run.hpp"
#include "tempdir.hpp"

using namespace std::string_literals;

namespace {

TEST(CommctlMedia, CommandsOnTheSimulatedBoard) {
    testsupport::TempDir state;
    // clang-format off
    for (const auto &[name, content] : {std::pair{"in.mp3", testsupport::silent_frames(7, false)},
             {"junk.mp3", "no frames in here"s}, {"feed.bin", "\x01\x02\xFFhello\x00"s + "0123456789"},
             {"settings.conf", "Camera.Menu.VideoRes=1920x1080P30\n"s}})
        // clang-format on
        ASSERT_TRUE(testsupport::write_file(state / name, content));
    const std::string pwm = "board/sys/class/pwm/pwmchip0/pwm3/";
    // 7 silent mono frames at 48 kHz: 16128 bytes of zeros behind the header.
    const std::string wav =
        "RIFF\x24\x3F\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x80\xBB\0\0\0\x77\x01\0\x02\0\x10\0data\0\x3F\0\0"s +
        std::string(16128, '\0');
    // A board option; the command for sh in the state folder, commctl as $C;
    // the status, stdout, and a state file's content afterwards.
    const std::tuple<std::string, std::string, int, std::string, std::string, std::string> cases[] = {
        // clang-format off
        {"", "$C mp3 in.mp3 o.wav", 0, "o.wav: 16128 bytes of PCM, 48000 Hz, 1 channel(s), 0.17 s\n", "o.wav", wav},
        {"", "$C mp3 junk.mp3 x.wav", 1, "", "x.wav", ""}, {"", "$C mp3 in.mp3 no/such/dir.wav", 1, "", "", ""},
        {"", "$C mp3 --info in.mp3", 0, "duration 0.168 s\nrate     48000 Hz\nchannels 1\nsamples  8064 per channel\n", "", ""},
        {"", "$C tone 500 440 t.wav >/dev/null && wc -c <t.wav", 0, "44144\n", "", ""},
        {"", "$C mp4 \"$BOARDSIM_SDCARD/DCIM/sample.mp4\"", 0,
         "duration_ms 60000\nfps_word0   30 (0x0000001e)\nfps_word1   30000 (0x00007530)\n", "", ""},
        {"", "$C mp4 missing.mp4", 1, "", "", ""},
        {"", "ZEV_SETTINGS_FILE=settings.conf $C video", 0, "height 1080\nfps    30000 (thousandths)\n", "", ""},
        {"", "$C pwm init 3", 0, "", pwm + "polarity", "normal\n"}, {"", "$C pwm set 3 50 7 normal", 0, "", pwm + "period", "50\n"},
        {"", "$C pwm start 3", 0, "", pwm + "enable", "1\n"},
        {"", "$C pwm status 3", 0, "channel    3\nperiod     50 ns\nduty_cycle 7 ns\npolarity   normal\nenabled    yes\n", "", ""},
        {"", "$C pwm start 4", 1, "", "", ""},               // not exported
        {"", "$C pwm deinit 3", 0, "", pwm + "enable", ""},  // the folder is gone
        {"--uart-feed=" + (state / "feed.bin"), "$C uart recv \"$BOARDSIM_UART\" 115200 18 1500", 0,
         "0000: 01 02 ff 68 65 6c 6c 6f 00 30 31 32 33 34 35 36\n0010: 37 38\n", "", ""},
        {"--uart-script=printf abc", "$C uart recv \"$BOARDSIM_UART\" 115200 5 1500", 1, "0000: 61 62 63\n", "", ""}};
    // clang-format on
    for (const auto &[option, command, status, out, file, content] : cases) {
        const testsupport::RunResult r = testsupport::on_board(
            state.path(),
            {"sh", "-c", "cd \"$1\" && C=\"$0 --level 0\" && " + command, COMMCTL_EXE, state.path()},
            option.empty() ? std::vector<std::string>{} : std::vector<std::string>{option});
        EXPECT_EQ(r.status, status) << command << ": " << r.err;
        EXPECT_EQ(r.out, out) << command;
        const auto lines = std::count(r.err.begin(), r.err.end(), '\n');
        EXPECT_TRUE(status == 0 ? r.err.empty() : lines == 1 && r.err.rfind("commctl: ", 0) == 0) << r.err;
        EXPECT_EQ(file.empty() ? "" : testsupport::read_file(state / file), content) << command;
    }
}

}  // namespace
