// Commands, the SD-card script runner, the random number, the digit test and
// the process test. Every command that could reach the machine (cp, chmod,
// dos2unix, ps) is a recording stub first on PATH.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <climits>

#include "../datetime/stub_commands.hpp"
#include "comm_log.h"
#include "comm_sys.h"
#include "fake_clock.hpp"

using testsupport::Lines;
using testsupport::logged;
using testsupport::read_file;

namespace {

int exit_code(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

TEST(SystemEx, FormatsCutsAt255AndReturnsTheStatus) {
    EXPECT_EQ(Zev_Comm_SystemEx(nullptr), -100);
    EXPECT_EQ(exit_code(Zev_Comm_SystemEx("exit %d", 3)), 3);
    testsupport::TempDir tmp;
    const std::string head = ">" + tmp / "out" + " printf %s ";
    for (size_t total : {255u, 256u}) {
        ASSERT_EQ(Zev_Comm_SystemEx("%s%s", head.c_str(), std::string(total - head.size(), 'a').c_str()), 0);
        EXPECT_EQ(read_file(tmp / "out"), std::string(255 - head.size(), 'a')) << total;
    }
}

TEST(Cmd, OneReadOnlyTheLastByteTerminated) {
    const std::string ten = "printf 0123456789";
    const struct {
        std::string cmd;
        int32_t size;
        char fill;
        int32_t result;
        std::string bytes;  // the whole buffer afterwards
    } cases[] = {
        {ten, 20, '\0', 0, std::string("0123456789") + std::string(10, '\0')},
        {ten, 10, 'X', 0, std::string("012345678\0", 10)},        // exactly iSize: last byte lost
        {ten, 16, 'X', 0, std::string("0123456789XXXXX\0", 16)},  // no zero behind short output
        {"printf 'ab\\000cd'", 8, 'X', 0, std::string("ab\0cdXX\0", 8)},
        {"printf ab; sleep 0.05; printf cd", 8, '\0', 0, std::string("abcd\0\0\0\0", 8)},  // one read
        {"printf out; exit 3", 4, '\0', 0, std::string("out\0", 4)},  // exit status not reported
        {"true", 8, 'X', -2, std::string(8, 'X')},
        {ten, 0, 'X', -2, std::string(8, 'X')},
        {ten, INT32_MIN, 'X', -2, std::string(8, 'X')},
    };
    for (const auto &c : cases) {
        std::string buf(c.bytes.size(), c.fill);
        EXPECT_EQ(Zev_Comm_Cmd(c.cmd.c_str(), buf.data(), c.size), c.result) << c.cmd << " " << c.size;
        EXPECT_EQ(buf, c.bytes) << c.cmd << " " << c.size;
    }
    char buf[4] = {'X', 'X', 'X', 'X'};
    EXPECT_EQ(Zev_Comm_Cmd(nullptr, buf, sizeof buf), -1);
    EXPECT_EQ(std::string(buf, 4), "XXXX");
    testsupport::TempDir tmp;
    EXPECT_EQ(Zev_Comm_Cmd(("printf ran > '" + tmp / "mark" + "'; printf x").c_str(), nullptr, 16), 0);
    EXPECT_EQ(read_file(tmp / "mark"), "ran") << "the command has ended before Zev_Comm_Cmd returns";
}

// A script name (with format characters) that cannot exist under /tmp, so
// the final command finds nothing there and the shell says 127.
std::string absent_name(size_t len) {
    std::string n = "comm-absent-%s%n-" + std::to_string(getpid()) + "-";
    n.resize(len, 'n');
    return n;
}

TEST(SdShell, FourCommandsInOrderAndTheLimits) {
    Zev_Comm_SetPrintLev(5);
    testsupport::StubCommands stubs;
    for (const char *c : {"cp", "chmod", "dos2unix"}) stubs.add(c);
    const std::string name = absent_name(30);
    for (const int32_t bg : {0, 1, -7}) {
        stubs.clear();
        int rc = 0;
        const Lines lines = logged([&] { rc = Zev_Comm_RunSDShell(name.c_str(), "x", bg); });
        EXPECT_EQ(stubs.calls(), (Lines{"cp /mnt/mmc/" + name + " /tmp", "chmod 777 /tmp/" + name,
                                        "dos2unix /tmp/" + name}));
        EXPECT_EQ(lines, Lines{"DBG Zev_Comm_RunSDShell :/tmp/" + name + " x" + (bg ? " &" : "  ") + "\n"});
        EXPECT_EQ(exit_code(rc), bg ? 0 : 127) << "only the foreground shell reports the script's failure";
    }
    const struct {
        size_t name_len, arg_len;
        Lines ran;  // stubs reached
        int32_t result;
    } limits[] = {
        {110, 9, {"cp", "chmod", "dos2unix"}, 127 << 8},  // the documented limits
        {110, 10, {"cp", "chmod", "dos2unix"}, -1},       // name and argument beyond 119
        {111, 0, {"chmod", "dos2unix"}, 127 << 8},        // the copy command is the longest
        {113, 0, {"dos2unix"}, 127 << 8},
        {114, 0, {}, 127 << 8},
        {120, 0, {}, -1},
    };
    for (const auto &c : limits) {
        stubs.clear();
        int rc = 0;
        const Lines lines = logged([&] {
            rc = Zev_Comm_RunSDShell(absent_name(c.name_len).c_str(), std::string(c.arg_len, 'a').c_str(), 0);
        });
        Lines ran;
        for (const std::string &call : stubs.calls()) ran.push_back(call.substr(0, call.find(' ')));
        EXPECT_EQ(ran, c.ran) << c.name_len << "+" << c.arg_len;
        EXPECT_EQ(rc, c.result) << c.name_len << "+" << c.arg_len;
        EXPECT_EQ(lines.size(), c.result == -1 ? 0u : 1u) << c.name_len << "+" << c.arg_len;
    }
}

// Two rand() values added in a signed word, shifted as signed, reduced as
// unsigned: the results fall in two bands, and both bands are reached.
TEST(Rand, SeededFromTheNanosecondsOnly) {
    testsupport::fake_clock::Scope fake;
    Zev_Comm_SetPrintLev(4);
    bool band[2] = {false, false};
    for (long nsec : {0L, 1L, 2L, 3L, 7L, 999L, 123456789L, 999999999L}) {
        int32_t r = -1, again = -2;
        testsupport::fake_clock::set_monotonic(0, nsec);
        const Lines lines = logged([&] { r = Zev_Comm_Rand(); });
        testsupport::fake_clock::set_monotonic(5000, nsec);
        (void)logged([&] { again = Zev_Comm_Rand(); });
        EXPECT_EQ(r, again) << "the seconds do not count";
        char msg[64];
        snprintf(msg, sizeof msg, "DBG Zev_Comm_Rand :t=%lx, rand=%d\n", static_cast<unsigned long>(nsec), r);
        EXPECT_EQ(lines, Lines{msg});
        EXPECT_TRUE((r >= 0 && r <= 8388607) || (r >= 86578688 && r <= 94967295)) << r;
        band[r > 8388607] = true;
    }
    EXPECT_TRUE(band[0] && band[1]);
}

TEST(IsNumber, OnlyTheTenDigitCodes) {
    for (const int32_t c : {48, 57}) EXPECT_EQ(Zev_Comm_IsNumber(c), 1) << c;
    for (const int32_t c : {47, 58, -1, 48 + 256, -208, INT32_MIN, INT32_MIN + 48, INT32_MAX})
        EXPECT_EQ(Zev_Comm_IsNumber(c), 0) << c;
}

TEST(IsTaskRunning, SubstringOfTheFirst127BytesOfGrepsOutput) {
    testsupport::StubCommands stubs;
    testsupport::TempDir tmp;
    ASSERT_TRUE(testsupport::write_file(
        tmp / "listing",
        "UID PID CMD\nroot 42 /usr/bin/camera_app\nroot 77 " + std::string(130, 'x') + " late_proc\n"));
    stubs.add("ps", "cat '" + tmp / "listing" + "'");
    const struct {
        std::string name;
        int32_t want;
        bool runs;
    } cases[] = {
        {"camera", 1, true},  // a part of a command line counts
        {"recorder", 0, true},
        {"late_proc", 0, true},            // further back than byte 127
        {"", 1, true},                     // the empty text is in every text
        {std::string(34, 'y'), 0, true},   // fits the command
        {std::string(35, 'y'), 0, false},  // too long for the command: not run
    };
    for (const auto &c : cases) {
        stubs.clear();
        EXPECT_EQ(Zev_Comm_IsTaskRunning(c.name.c_str()), c.want) << c.name;
        EXPECT_EQ(stubs.calls(), c.runs ? Lines{"ps -ef"} : Lines{}) << c.name;
    }
    EXPECT_EQ(Zev_Comm_IsTaskRunning(nullptr), 0);
    stubs.add("ps", "exit 1");
    EXPECT_EQ(Zev_Comm_IsTaskRunning("camera"), 0) << "a failing command means not running";
}

}  // namespace
