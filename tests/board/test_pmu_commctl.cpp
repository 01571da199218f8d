// SPDX-License-Identifier: MIT
// commctl's board commands end to end on the simulated board: one happy
// path and one error per command, and what the PMU model records.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "run.hpp"
#include "tempdir.hpp"

using namespace testsupport;

namespace {

RunResult commctl(const std::string &state, const std::vector<std::string> &opts,
                  std::vector<std::string> args) {
    args.insert(args.begin(), {COMMCTL_EXE, "--level", "0"});  // the output alone, no log lines
    return on_board(state, args, opts);
}

const std::string kReadings =
    "dc in           1\nacc on          1\nvoltage         12150 mV\ncharge current  500 mA\n"
    "ntc temperature 31\npower key       up\nsd card         1\nboot word       0x1\ntype            1\n";

TEST(BoardCommands, HappyPathAndOneErrorEach) {
    TempDir state, dir;
    const std::string file = dir / "factory.txt";
    ASSERT_TRUE(write_file(file, "SN=ZX0042\\VOL=-3\\"));
    // boardsim options, commctl arguments, exit status, stdout on success or stderr on failure
    const std::tuple<std::vector<std::string>, std::vector<std::string>, int, std::string> cases[] = {
        // clang-format off
        {{}, {"pmu"}, 0, kReadings}, {{}, {"pmu", "set-charge", "800"}, 0, "800 mA\n"},
        {{"--pmu=absent"}, {"pmu"}, 1, "commctl: no PMU device at /dev/ip_6303: these are the library's fall-back values\n"},
        {{"--cpu-temp=71"}, {"temp"}, 0, "cpu 71\nntc 31\ntest mode off\n"},
        {{"--temp-test=1", "--pmu=absent"}, {"temp"}, 0, "cpu 66\nntc 0\ntest mode on\n"},
        {{}, {"sd"}, 0, "device /dev/mmcblk0p1\nname   mmcblk0p1\nsize   15519744 KB (15156 MB)\n"},
        {{}, {"param", "--number", file, "VOL"}, 0, "-3\n"}, {{}, {"hide", file, "on"}, 0, ""},
        {{}, {"hide", dir / "no/such", "on"}, 1, "commctl: cannot open " + dir / "no/such" + " (1)\n"},
        {{}, {"usb", "sideways"}, 2, "commctl: usb wants on or off, not 'sideways'\n"}};
    // clang-format on
    for (const auto &[opts, args, status, text] : cases) {
        const RunResult r = commctl(state.path(), opts, args);
        EXPECT_EQ(r.status, status) << args[0] << " " << args.back() << ": " << r.err;
        EXPECT_EQ(status == 0 ? r.out : r.err, text) << args[0] << " " << args.back();
    }
    EXPECT_EQ(read_file(state / "board/pmu.log"), "set_charge_current 800\n");
    EXPECT_EQ(read_file(file), "SN=ZX0042\\VOL=-3\\") << "hiding leaves the content alone";
}

}  // namespace
