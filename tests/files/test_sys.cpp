// Commands, the SD-card script runner, the random number, the digit test and
// the process test. Every command that could reach the machine (cp, chmod,
// dos2unix, ps) is a recording stub first on PATH, or runs in a private
// mount namespace.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_sys.h"
#include "../datetime/stub_commands.hpp"
#include "fake_clock.hpp"
#include "log_lines.hpp"
#include "tempdir.hpp"

using testsupport::capture_stdout;
using testsupport::read_file;
using testsupport::StubCommands;
using testsupport::summarise;
using testsupport::TempDir;

namespace {

std::string quoted(const std::string &s) { return "'" + s + "'"; }

// ---- Zev_Comm_SystemEx ---------------------------------------------------

TEST(SystemEx, NullFormatRunsNothing) {
    StubCommands stubs;
    EXPECT_EQ(Zev_Comm_SystemEx(nullptr), -100);
    EXPECT_TRUE(stubs.calls().empty());
}

TEST(SystemEx, FormatsArgumentsAndReturnsTheStatusUnchanged) {
    const int rc = Zev_Comm_SystemEx("exit %d", 3);
    ASSERT_TRUE(WIFEXITED(rc));
    EXPECT_EQ(WEXITSTATUS(rc), 3);
    EXPECT_EQ(Zev_Comm_SystemEx("true"), 0);
}

TEST(SystemEx, LongCommandRunsAsItsFirst255Characters) {
    TempDir tmp;
    const std::string head = ">" + tmp / "out" + " printf %s ";
    for (size_t total : {254u, 255u, 256u, 300u}) {
        const std::string cmd = head + std::string(total - head.size(), 'a');
        ASSERT_EQ(Zev_Comm_SystemEx("%s", cmd.c_str()), 0) << total;
        const size_t kept = std::min<size_t>(total, 255);
        EXPECT_EQ(read_file(tmp / "out"), std::string(kept - head.size(), 'a')) << total;
    }
}

// ---- Zev_Comm_Cmd ----------------------------------------------------------

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
        {ten, 5, '\0', 0, std::string("0123\0", 5)},
        {ten, 10, 'X', 0, std::string("012345678\0", 10)},   // exactly iSize: last byte lost
        {ten, 11, 'X', 0, std::string("0123456789\0", 11)},
        {ten, 16, 'X', 0, std::string("0123456789XXXXX\0", 16)},  // no zero behind short output
        {"printf 'ab\\000cd'", 8, 'X', 0, std::string("ab\0cdXX\0", 8)},
        {"printf ab; sleep 0.05; printf cd", 8, '\0', 0, std::string("abcd\0\0\0\0", 8)},
        {"printf out; exit 3", 4, '\0', 0, std::string("out\0", 4)},  // exit status not reported
        {"true", 8, 'X', -2, std::string(8, 'X')},
        {"comm-test-no-such-command 2>/dev/null", 8, 'X', -2, std::string(8, 'X')},
        {ten, 0, 'X', -2, std::string(8, 'X')},
        {ten, -1, 'X', -2, std::string(8, 'X')},
        {ten, INT32_MIN, 'X', -2, std::string(8, 'X')},
    };
    for (const auto &c : cases) {
        std::string buf(c.bytes.size(), c.fill);
        EXPECT_EQ(Zev_Comm_Cmd(c.cmd.c_str(), buf.data(), c.size), c.result) << c.cmd << " " << c.size;
        EXPECT_EQ(buf, c.bytes) << c.cmd << " " << c.size;
    }
}

TEST(Cmd, NullBufferRunsTheCommandAndReadsNothing) {
    TempDir tmp;
    const std::string cmd = "printf ran > " + quoted(tmp / "mark") + "; printf output";
    EXPECT_EQ(Zev_Comm_Cmd(cmd.c_str(), nullptr, 16), 0);
    EXPECT_EQ(read_file(tmp / "mark"), "ran") << "the command has ended before Zev_Comm_Cmd returns";
}

TEST(Cmd, NullCommandIsNotStarted) {
    char buf[4] = {'X', 'X', 'X', 'X'};
    EXPECT_EQ(Zev_Comm_Cmd(nullptr, buf, sizeof buf), -1);
    EXPECT_EQ(std::string(buf, 4), "XXXX");
}

// ---- Zev_Comm_RunSDShell with stubs ------------------------------------------

class SdShell : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(5);
        for (const char *c : {"cp", "chmod", "dos2unix"}) stubs_.add(c);
    }
    // A script name that cannot exist under /tmp, so the final command finds
    // nothing there and the machine is left alone.
    static std::string absent_name(size_t len) {
        std::string n = "comm-absent-" + std::to_string(getpid()) + "-";
        n.resize(len, 'n');
        return n;
    }
    StubCommands stubs_;
};

TEST_F(SdShell, FourCommandsInOrderForegroundAndBackground) {
    const std::string name = absent_name(24);
    const struct {
        int32_t background;
        const char *tail;
        bool waits;  // the shell reports the script's own failure
    } cases[] = {{0, "  ", true}, {1, " &", false}, {-7, " &", false}};
    for (const auto &c : cases) {
        stubs_.clear();
        int rc = 0;
        const std::string out = capture_stdout([&] { rc = Zev_Comm_RunSDShell(name.c_str(), "x", c.background); });
        const std::vector<std::string> want_calls = {
            "cp /mnt/mmc/" + name + " /tmp", "chmod 777 /tmp/" + name, "dos2unix /tmp/" + name};
        EXPECT_EQ(stubs_.calls(), want_calls) << c.background;
        EXPECT_EQ(summarise(out),
                  std::vector<std::string>{"DBG Zev_Comm_RunSDShell :/tmp/" + name + " x" + c.tail + "\n"});
        ASSERT_TRUE(WIFEXITED(rc));
        EXPECT_EQ(WEXITSTATUS(rc), c.waits ? 127 : 0) << c.background;
    }
}

TEST_F(SdShell, CommandsThatDoNotFitAreNotRun) {
    const struct {
        size_t name_len;
        size_t arg_len;
        std::vector<std::string> ran;  // stubs reached
        bool last_runs;
    } cases[] = {
        {110, 9, {"cp", "chmod", "dos2unix"}, true},   // the documented limits
        {110, 10, {"cp", "chmod", "dos2unix"}, false},  // name and argument beyond 119
        {111, 0, {"chmod", "dos2unix"}, true},          // the copy command is the longest
        {113, 0, {"dos2unix"}, true},
        {114, 0, {}, true},
        {120, 0, {}, false},
    };
    for (const auto &c : cases) {
        stubs_.clear();
        const std::string name = absent_name(c.name_len);
        const std::string arg(c.arg_len, 'a');
        int rc = 0;
        const std::string out = capture_stdout([&] { rc = Zev_Comm_RunSDShell(name.c_str(), arg.c_str(), 0); });
        std::vector<std::string> ran;
        for (const std::string &call : stubs_.calls()) ran.push_back(call.substr(0, call.find(' ')));
        EXPECT_EQ(ran, c.ran) << c.name_len << "+" << c.arg_len;
        EXPECT_EQ(summarise(out).size(), c.last_runs ? 1u : 0u) << c.name_len << "+" << c.arg_len;
        if (c.last_runs) {
            ASSERT_TRUE(WIFEXITED(rc));
            EXPECT_EQ(WEXITSTATUS(rc), 127);
        } else {
            EXPECT_EQ(rc, -1);
        }
    }
}

TEST_F(SdShell, PercentInTheNameIsNoFormat) {
    const std::string name = absent_name(20) + "%s%n";
    (void)capture_stdout([&] { (void)Zev_Comm_RunSDShell(name.c_str(), "", 0); });
    ASSERT_EQ(stubs_.calls().size(), 3u);
    EXPECT_EQ(stubs_.calls()[0], "cp /mnt/mmc/" + name + " /tmp");
}

// ---- Zev_Comm_RunSDShell for real, in a private mount namespace -----------------

// Maps the caller's own ids into a new user namespace so that files it makes
// keep their owner.
bool enter_private_mounts() {
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    auto put = [](const char *path, const std::string &text) {
        const int fd = open(path, O_WRONLY);
        if (fd < 0) return false;
        const bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        close(fd);
        return ok;
    };
    put("/proc/self/setgroups", "deny");
    if (!put("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1")) return false;
    if (!put("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1")) return false;
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

TEST(SdShellForReal, CopiesFixesLineEndsAndRunsTheScript) {
    struct stat st {};
    if (stat("/mnt", &st) != 0 || stat("/bin/sh", &st) != 0) GTEST_SKIP() << "no /mnt to mount over";
    TempDir tmp;
    // A script with CR LF line ends and no execute bit: it runs only when the
    // copy, chmod and dos2unix steps all did their work.
    ASSERT_TRUE(testsupport::write_file(tmp / "mnt/mmc/job.sh",
                                        "#!/bin/sh\r\necho \"args:$1:$2\" > /tmp/ran\r\n"));
    ASSERT_TRUE(testsupport::write_file(tmp / "tmp/.keep", ""));
    fflush(stdout);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        if (!enter_private_mounts()) _exit(77);
        if (mount((tmp / "mnt").c_str(), "/mnt", nullptr, MS_BIND, nullptr) != 0) _exit(77);
        if (mount((tmp / "tmp").c_str(), "/tmp", nullptr, MS_BIND, nullptr) != 0) _exit(77);
        const int rc = Zev_Comm_RunSDShell("job.sh", "one two", 0);
        _exit(WIFEXITED(rc) ? WEXITSTATUS(rc) : 99);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(read_file(tmp / "tmp/ran"), "args:one:two\n");
    EXPECT_EQ(read_file(tmp / "tmp/job.sh"), "#!/bin/sh\necho \"args:$1:$2\" > /tmp/ran\n");
    ASSERT_EQ(stat((tmp / "tmp/job.sh").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0777u);
}

// ---- Zev_Comm_Rand --------------------------------------------------------------

// The result from two rand() values, computed with 64-bit arithmetic.
int64_t model_rand(uint32_t a, uint32_t b) {
    int64_t sum = static_cast<int64_t>(a) + b;
    if (sum >= (int64_t{1} << 31)) sum -= int64_t{1} << 32;  // wrapped into a signed word
    int64_t shifted = sum >= 0 ? sum / 256 : -((-sum + 255) / 256);  // rounds toward minus infinity
    if (shifted < 0) shifted += int64_t{1} << 32;
    return shifted % 100000000;
}

TEST(Rand, SeededFromTheNanosecondsOnly) {
    namespace fc = testsupport::fake_clock;
    fc::Scope fake;
    Zev_Comm_SetPrintLev(4);
    bool low_band = false, high_band = false;
    for (long nsec : {0L, 1L, 2L, 3L, 7L, 999L, 123456789L, 999999999L}) {
        for (int64_t sec : {0, 5000}) {
            fc::set_monotonic(sec, nsec);
            srand(static_cast<unsigned>(nsec));
            const uint32_t a = static_cast<uint32_t>(rand());
            const uint32_t b = static_cast<uint32_t>(rand());
            int32_t r = -1;
            const std::string out = capture_stdout([&] { r = Zev_Comm_Rand(); });
            EXPECT_EQ(r, model_rand(a, b)) << nsec;
            char msg[64];
            snprintf(msg, sizeof msg, "DBG Zev_Comm_Rand :t=%lx, rand=%d\n", static_cast<unsigned long>(nsec), r);
            EXPECT_EQ(summarise(out), std::vector<std::string>{msg});
            EXPECT_TRUE((r >= 0 && r <= 8388607) || (r >= 86578688 && r <= 94967295)) << r;
            (r <= 8388607 ? low_band : high_band) = true;
        }
    }
    EXPECT_TRUE(low_band);
    EXPECT_TRUE(high_band);
    Zev_Comm_SetPrintLev(5);
}

// ---- Zev_Comm_IsNumber ------------------------------------------------------------

TEST(IsNumber, OnlyTheTenDigitCodes) {
    const struct {
        int32_t c;
        int32_t want;
    } cases[] = {{48, 1}, {53, 1}, {57, 1}, {47, 0}, {58, 0}, {-1, 0}, {0, 0},
                 {48 + 256, 0}, {-208, 0}, {INT32_MIN, 0}, {INT32_MIN + 48, 0}, {INT32_MAX, 0}};
    for (const auto &c : cases) EXPECT_EQ(Zev_Comm_IsNumber(c.c), c.want) << c.c;
}

// ---- Zev_Comm_IsTaskRunning with a stub ps ------------------------------------------

TEST(IsTaskRunning, SubstringOfTheFirst127BytesOfGrepsOutput) {
    StubCommands stubs;
    TempDir tmp;
    const std::string listing =
        "UID PID CMD\n"
        "root 1 /sbin/init\n"
        "root 42 /usr/bin/camera_app --record\n"
        "root 77 " + std::string(130, 'x') + " late_proc\n"
        "root 90 " + std::string(27, 'y') + "\n";
    ASSERT_TRUE(testsupport::write_file(tmp / "listing", listing));
    stubs.add("ps", "cat " + quoted(tmp / "listing"));
    const std::string name34(34, 'y');
    const struct {
        std::string name;
        int32_t want;
        bool runs;
    } cases[] = {
        {"camera_app", 1, true},
        {"camera", 1, true},        // a part of a command line counts
        {"init", 1, true},
        {"recorder", 0, true},
        {"late_proc", 0, true},     // further back than byte 127
        {"", 1, true},              // the empty text is in every text
        {std::string(27, 'y'), 1, true},
        {name34, 0, true},          // fits the command, but is not in the listing
        {name34 + "y", 0, false},   // too long for the command: not run
    };
    for (const auto &c : cases) {
        stubs.clear();
        EXPECT_EQ(Zev_Comm_IsTaskRunning(c.name.c_str()), c.want) << c.name;
        EXPECT_EQ(stubs.calls(), c.runs ? std::vector<std::string>{"ps -ef"} : std::vector<std::string>{})
            << c.name;
    }
    EXPECT_EQ(Zev_Comm_IsTaskRunning(nullptr), 0);
}

TEST(IsTaskRunning, FailingCommandMeansNotRunning) {
    StubCommands stubs;
    stubs.add("ps", "exit 1");
    EXPECT_EQ(Zev_Comm_IsTaskRunning("anything"), 0);
}

}  // namespace
