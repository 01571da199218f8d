// commctl's board commands on the simulated board: the PMU model with its
// readings and records, temperatures, the SD card, parameter files and the
// hidden attribute.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "log_lines.hpp"
#include "tests/sim/run.hpp"
#include "tempdir.hpp"

using testsupport::read_file;
using testsupport::run;
using testsupport::RunResult;

namespace {

class BoardCommands : public ::testing::Test {
protected:
    RunResult commctl(const std::vector<std::string> &args, const std::vector<std::string> &opts = {}) {
        std::vector<std::string> argv = {BOARDSIM_EXE, "--state", state_.path()};
        argv.insert(argv.end(), opts.begin(), opts.end());
        argv.push_back("--");
        argv.push_back(COMMCTL_EXE);
        argv.push_back("--level");
        argv.push_back("0");  // the table alone, without log lines
        argv.insert(argv.end(), args.begin(), args.end());
        return run(argv, {"ZEV_SETTINGS_FILE="});
    }
    std::string board(const std::string &rel) { return read_file(state_ / ("board/" + rel)); }
    testsupport::TempDir state_;
};

std::string readings(const std::string &dc, const std::string &volt, const std::string &charge,
                     const std::string &ntc, const std::string &key, const std::string &boot, const std::string &type) {
    return "dc in           " + dc + "\nacc on          " + dc + "\nvoltage         " + volt + " mV\ncharge current  " +
           charge + " mA\nntc temperature " + ntc + "\npower key       " + key + "\nsd card         " + dc +
           "\nboot word       " + boot + "\ntype            " + type + "\n";
}

TEST_F(BoardCommands, PmuReadingsAndOverrides) {
    const struct {
        const char *name;
        std::vector<std::string> opts;
        int status;
        std::string out;
    } cases[] = {
        {"defaults", {}, 0, readings("1", "12150", "500", "31", "up", "0x1", "1")},
        {"overrides", {"--pmu-voltage=11800", "--pmu-power-key=2", "--pmu-boot=0x81", "--pmu-type=3"}, 0,
         readings("1", "11800", "500", "31", "down", "0x81", "1")},
        {"requests fail", {"--pmu-fail=1"}, 0, readings("0", "0", "0", "0", "up", "0x0", "0")},
        {"no device", {"--pmu=absent"}, 1, readings("1", "0", "0", "0", "up", "0x0", "0")},
    };
    for (const auto &c : cases) {
        const RunResult r = commctl({"pmu"}, c.opts);
        EXPECT_EQ(r.status, c.status) << c.name << r.err;
        std::string out = r.out;
        // With no device, DC, ACC and SD differ: two fall-back columns.
        if (c.status == 1) {
            EXPECT_NE(r.err.find("no PMU device at /dev/ip_6303"), std::string::npos) << r.err;
            out.replace(out.find("sd card         0"), 17, "sd card         1");
        }
        EXPECT_EQ(out, c.out) << c.name;
    }
}

TEST_F(BoardCommands, PmuRecordsWhatIsWritten) {
    const struct {
        std::vector<std::string> args;
        std::string out;
    } steps[] = {
        {{"pmu", "set-charge", "800"}, "800 mA\n"},
        {{"pmu", "cap"}, "240\n"},
        {{"pmu", "timeout", "30"}, ""},
        {{"pmu", "power-off", "-5"}, "-5\n"},
    };
    for (const auto &s : steps) {
        const RunResult r = commctl(s.args);
        EXPECT_EQ(r.status, 0) << s.args[1] << r.err;
        EXPECT_EQ(r.out, s.out) << s.args[1];
    }
    EXPECT_EQ(board("pmu.log"), "set_charge_current 800\nset_cap 240\npower_off_timeout 30\npower_off -5\n");
    // The charge current set is what the driver reports from then on.
    EXPECT_EQ(commctl({"pmu"}).out, readings("1", "12150", "800", "31", "up", "0x1", "1"));
}

TEST_F(BoardCommands, Temperatures) {
    const struct {
        std::vector<std::string> opts;
        std::string out;
    } cases[] = {
        {{}, "cpu 52\nntc 31\ntest mode off\n"},
        {{"--cpu-temp=71"}, "cpu 71\nntc 31\ntest mode off\n"},
        {{"--temp-test=1"}, "cpu 66\nntc 37\ntest mode on\n"},
        {{"--temp-test=1", "--pmu=absent"}, "cpu 66\nntc 0\ntest mode on\n"},
    };
    for (const auto &c : cases) {
        const RunResult r = commctl({"temp"}, c.opts);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, c.out) << (c.opts.empty() ? "" : c.opts[0]);
    }
}

TEST_F(BoardCommands, SdCard) {
    const struct {
        std::vector<std::string> opts;
        int status;
        std::string text;
    } cases[] = {
        {{}, 0, "device /dev/mmcblk0p1\nname   mmcblk0p1\nsize   15519744 KB (15156 MB)\n"},
        {{"--sd=disk"}, 0, "device /dev/mmcblk0\nname   mmcblk0\nsize   15523840 KB (15160 MB)\n"},
        {{"--sd=absent"}, 1, "commctl: no SD card in /proc/partitions\n"},
    };
    for (const auto &c : cases) {
        const RunResult r = commctl({"sd"}, c.opts);
        EXPECT_EQ(r.status, c.status) << r.err;
        EXPECT_EQ(c.status == 0 ? r.out : r.err, c.text);
    }
}

TEST_F(BoardCommands, ParamAndHide) {
    testsupport::TempDir dir;
    const std::string file = dir / "factory.txt";
    ASSERT_TRUE(testsupport::write_file(file, "SN=ZX0042\\FW=V1.2\\VOL=-3\\"));
    const struct {
        std::vector<std::string> args;
        int status;
        std::string text;  // stdout on success, stderr on failure
    } cases[] = {
        {{"param", file, "SN"}, 0, "ZX0042\n"},
        {{"param", "--number", file, "VOL"}, 0, "-3\n"},
        {{"param", file, "HW"}, 1, "commctl: HW not found in " + file + "\n"},
        {{"param", dir / "none", "SN"}, 1, "commctl: cannot read " + dir / "none" + "\n"},
        {{"hide", file, "on"}, 0, ""},
        {{"hide", dir / "no/such", "on"}, 1, "commctl: cannot open " + dir / "no/such" + " (1)\n"},
        {{"usb", "sideways"}, 2, "commctl: usb wants on or off, not 'sideways'\n"},
        {{"pmu", "set-charge", "lots"}, 2, "commctl: pmu set-charge wants one number\n"},
    };
    for (const auto &c : cases) {
        const RunResult r = commctl(c.args);
        EXPECT_EQ(r.status, c.status) << c.args[0] << " " << r.err;
        EXPECT_EQ(c.status == 0 ? r.out : r.err, c.text) << c.args[0];
    }
    EXPECT_EQ(read_file(file), "SN=ZX0042\\FW=V1.2\\VOL=-3\\") << "the file is left as it was";
}

}  // namespace
