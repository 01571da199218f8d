// SPDX-License-Identifier: MIT
// Commands, the SD-card script runner, the digit test and the process test;
// cp, chmod, dos2unix and ps are recording stubs first on PATH.
#include <sys/wait.h>

#include <climits>
#include <tuple>

#include "comm_sys.h"
#include "common.hpp"
#include "fake_clock.hpp"
#include "log_lines.hpp"

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
    // command, size, fill, result, the whole buffer afterwards
    // clang-format off
    const std::tuple<std::string, int32_t, char, int32_t, std::string> cases[] = {
        {ten, 20, '\0', 0, std::string("0123456789") + std::string(10, '\0')},
        {ten, 10, 'X', 0, std::string("012345678\0", 10)},        // exactly iSize: last byte lost
        {ten, 16, 'X', 0, std::string("0123456789XXXXX\0", 16)},  // no zero behind short output
        {"printf 'ab\\000cd'", 8, 'X', 0, std::string("ab\0cdXX\0", 8)},
        {"printf ab; sleep 0.05; printf cd", 8, '\0', 0, std::string("abcd\0\0\0\0", 8)},
        {"printf out; exit 3", 4, '\0', 0, std::string("out\0", 4)},  // exit status not reported
        {"true", 8, 'X', -2, std::string(8, 'X')}, {ten, 0, 'X', -2, std::string(8, 'X')},
        {ten, INT32_MIN, 'X', -2, std::string(8, 'X')}};
    // clang-format on
    for (const auto &[cmd, size, fill, result, bytes] : cases) {
        std::string buf(bytes.size(), fill);
        EXPECT_EQ(Zev_Comm_Cmd(cmd.c_str(), buf.data(), size), result) << cmd << " " << size;
        EXPECT_EQ(buf, bytes) << cmd << " " << size;
    }
    EXPECT_EQ(Zev_Comm_Cmd(nullptr, nullptr, 4), -1);
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
        const auto [rc, lines] = logged([&] { return Zev_Comm_RunSDShell(name.c_str(), "x", bg); });
        EXPECT_EQ(stubs.calls(), (Lines{"cp /mnt/mmc/" + name + " /tmp", "chmod 777 /tmp/" + name,
                                        "dos2unix /tmp/" + name}));
        EXPECT_EQ(lines, Lines{"DBG Zev_Comm_RunSDShell :/tmp/" + name + " x" + (bg ? " &" : "  ") + "\n"});
        EXPECT_EQ(exit_code(rc), bg ? 0 : 127) << "only the foreground shell reports the script's failure";
    }
    // Commands that do not fit 128 bytes are not run (the copy is the longest).
    const std::tuple<size_t, size_t, size_t, int32_t> limits[] = {
        // name, argument, stubs reached, result
        {110, 9, 3, 127 << 8}, {110, 10, 3, -1},      {111, 0, 2, 127 << 8},
        {113, 0, 1, 127 << 8}, {114, 0, 0, 127 << 8}, {120, 0, 0, -1}};
    for (const auto &[name_len, arg_len, reached, result] : limits) {
        stubs.clear();
        const std::string long_name = absent_name(name_len), arg(arg_len, 'a');
        const auto [rc, lines] =
            logged([&] { return Zev_Comm_RunSDShell(long_name.c_str(), arg.c_str(), 0); });
        const Lines calls = stubs.calls(), all = {"cp", "chmod", "dos2unix"};
        EXPECT_EQ(calls.size(), reached) << name_len << "+" << arg_len;
        EXPECT_TRUE(calls.empty() || calls[0].rfind(all[3 - reached] + " ", 0) == 0) << calls[0];
        EXPECT_EQ(rc, result) << name_len << "+" << arg_len;
        EXPECT_EQ(lines.size(), result == -1 ? 0u : 1u) << name_len << "+" << arg_len;
    }
}

// The generator is seeded from the clock's nanoseconds alone, and the
// signed shift folds sums with the top bit set into a second band.
TEST(Rand, SeededFromNanosecondsInTwoBands) {
    namespace fc = testsupport::fake_clock;
    fc::Scope fake;
    bool low = false, high = false;
    for (long nsec = 0; nsec < 200000; nsec += 997) {
        fc::set_monotonic(1, nsec);
        const int32_t r = Zev_Comm_Rand();
        fc::set_monotonic(99, nsec);  // the seconds play no part
        EXPECT_EQ(Zev_Comm_Rand(), r) << nsec;
        low = low || (r >= 0 && r <= 8388607);
        high = high || (r >= 86578688 && r <= 94967295);
        ASSERT_TRUE((r >= 0 && r <= 8388607) || (r >= 86578688 && r <= 94967295)) << r;
    }
    EXPECT_TRUE(low && high);
    fc::set_monotonic(0, 0xabcdef);
    const auto [r, lines] = logged(Zev_Comm_Rand);
    EXPECT_EQ(lines, Lines{"DBG Zev_Comm_Rand :t=abcdef, rand=" + std::to_string(r) + "\n"});
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
    // A part of a line counts; a name behind byte 127 is not seen, a name too
    // long for the command is not looked for.
    const std::tuple<std::string, int32_t, bool> cases[] = {
        // name, result, ps runs
        {"camera", 1, true}, {"recorder", 0, true},           {"late_proc", 0, true},
        {"", 1, true},       {std::string(34, 'y'), 0, true}, {std::string(35, 'y'), 0, false}};
    for (const auto &[name, result, runs] : cases) {
        stubs.clear();
        EXPECT_EQ(Zev_Comm_IsTaskRunning(name.c_str()), result) << name;
        EXPECT_EQ(stubs.calls(), runs ? Lines{"ps -ef"} : Lines{}) << name;
    }
    EXPECT_EQ(Zev_Comm_IsTaskRunning(nullptr), 0);
    stubs.add("ps", "exit 1");
    EXPECT_EQ(Zev_Comm_IsTaskRunning("camera"), 0) << "a failing command means not running";
}

}  // namespace
