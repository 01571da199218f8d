// File chores on a private folder: each function's own results and failure
// lines, the bytes read and written, the non-blocking device read, touch and
// rm through stub commands, and waiting for a path.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <functional>
#include <tuple>

#include "../datetime/stub_commands.hpp"
#include "comm_file.h"
#include "comm_log.h"
#include "comm_sd.h"
#include "fake_sleep.hpp"

using testsupport::Lines;
using testsupport::logged;
using testsupport::read_file;
using testsupport::write_file;

namespace {

class FileChores : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(7);
        ASSERT_TRUE(write_file(path("f"), std::string("ab\0cd", 5)) && write_file(path("empty"), ""));
        ASSERT_TRUE(write_file(path("digits"), "0123456789") &&
                    write_file(path("big"), std::string(300, 'b')));
        ASSERT_EQ(mkdir(path("dir").c_str(), 0755), 0);
    }
    std::string path(const std::string &rel) const { return dir_ / rel; }
    testsupport::TempDir dir_;
};

TEST_F(FileChores, ExistenceAndSize) {
    const std::tuple<std::string, int32_t, int32_t> cases[] = {{path("f"), 1, 5},
                                                               {path("empty"), 1, 0},
                                                               {path("missing"), 0, -1},
                                                               {"", 0, -1},
                                                               {path("f/x"), 0, -1}};
    for (const auto &[p, exists, size] : cases) {
        EXPECT_EQ(Zev_Comm_IsFileExist(p.c_str()), exists) << p;
        EXPECT_EQ(Zev_Comm_GetFileSize(p.c_str()), size) << p;
    }
    EXPECT_EQ(Zev_Comm_IsFileExist(path("dir").c_str()), 1);
}

// ReadFile gives 0 and leaves the rest of the buffer; ReadFileEx gives the
// count and seeks from the end for a negative offset.
TEST_F(FileChores, Reads) {
    const struct {
        const char *file;
        int32_t offset;  // INT32_MIN: Zev_Comm_ReadFile
        uint32_t size;
        int32_t result;
        std::string buffer;  // 10 bytes, 'X' before the call
    } cases[] = {
        {"f", INT32_MIN, 5, 0, std::string("ab\0cdXXXXX", 10)},
        {"f", INT32_MIN, 8, 0, std::string("ab\0cdXXXXX", 10)},  // short read
        {"empty", INT32_MIN, 8, 0, "XXXXXXXXXX"},
        {"digits", 3, 4, 4, "3456XXXXXX"},
        {"digits", 20, 6, 0, "XXXXXXXXXX"},   // past the end
        {"digits", -4, 10, 4, "6789XXXXXX"},  // the last four
        {"digits", -10, 3, 3, "012XXXXXXX"},
        {"digits", -11, 10, 10, "0123456789"},  // refused seek: from the start
    };
    for (const auto &c : cases) {
        std::string buf(10, 'X');
        const std::string p = path(c.file);
        EXPECT_EQ(c.offset == INT32_MIN ? Zev_Comm_ReadFile(p.c_str(), buf.data(), c.size)
                                        : Zev_Comm_ReadFileEx(p.c_str(), c.offset, buf.data(), c.size),
                  c.result)
            << c.file << " " << c.offset;
        EXPECT_EQ(buf, c.buffer) << c.file << " " << c.offset;
    }
    char big[300];
    EXPECT_EQ(Zev_Comm_ReadFileEx(path("big").c_str(), 0, big, 255), 255) << "looks like a failure";
}

TEST_F(FileChores, WriteReplacesAndAppendAdds) {
    const std::string bytes("a\0b\nc", 5), f = path("out");
    const struct {
        bool append;
        std::string before;  // "-": no file
        uint32_t size;
        std::string after;
    } cases[] = {{false, "-", 5, bytes}, {false, "old", 2, std::string("a\0", 2)}, {false, "old", 0, ""},
                 {true, "-", 5, bytes},  {true, "old", 5, "old" + bytes},          {true, "-", 0, ""}};
    for (const auto &c : cases) {
        unlink(f.c_str());
        ASSERT_TRUE(c.before == "-" || write_file(f, c.before));
        int32_t r = -1;
        EXPECT_EQ(logged([&] {
                      r = c.append ? Zev_Comm_AppendFile(f.c_str(), bytes.data(), c.size)
                                   : Zev_Comm_WriteFile(f.c_str(), bytes.data(), c.size);
                  }),
                  Lines{});
        EXPECT_EQ(r, 0);
        EXPECT_EQ(read_file(f), c.after) << c.append << " " << c.before << " " << c.size;
        EXPECT_TRUE(testsupport::file_exists(f));
    }
}

// Every failure has its own result and VER line, and only a VER line.
TEST_F(FileChores, FailuresAndTheirLines) {
    char buf[8];
    const std::string no = path("no/f"), none = path("none");
    const struct {
        const char *fn;
        std::function<int32_t()> call;
        int32_t result;
        std::string message;
    } cases[] = {
        {"ReadFile", [&] { return Zev_Comm_ReadFile(none.c_str(), buf, 4); }, 1,
         "[ZEV]ZevReadFile---" + none + "---failed!uRet=1 (0 bytes)\r\n"},
        {"ReadFileEx", [&] { return Zev_Comm_ReadFileEx(none.c_str(), 0, buf, 4); }, 255,
         "[ZEV]ZevReadFile---" + none + "---failed!uRet=255 (0 bytes)\r\n"},
        {"WriteFile", [&] { return Zev_Comm_WriteFile(no.c_str(), "x", 1); }, 1,
         "[ZEV]ZevWriteFile---" + no + "---failed!uRet=1\r\n"},
        {"AppendFile", [&] { return Zev_Comm_AppendFile(no.c_str(), "x", 1); }, 1,
         "[ZEV]Zev_Comm_AppendFile---" + no + "---failed!uRet=1\r\n"},
        {"ReadDev_NonBlock", [&] { return Zev_Comm_ReadDev_NonBlock(none.c_str(), buf, 4); }, 0,
         "[" + none + "] ret = -4\n"},
        {"SetFileHide", [&] { return Zev_Comm_SetFileHide(path("dir").c_str(), 1); }, 1,
         "---" + path("dir") + "---failed!uRet=1\r\n"},
        {"SetDirHide", [&] { return Zev_Comm_SetDirHide(path("f").c_str(), 1); }, 255,
         "---" + path("f") + "---failed!uRet=255\r\n"},
    };
    for (const auto &c : cases) {
        Zev_Comm_SetPrintLev(7);
        EXPECT_EQ(logged([&] { EXPECT_EQ(c.call(), c.result) << c.fn; }),
                  Lines{"VER Zev_Comm_" + std::string(c.fn) + " :" + c.message});
        Zev_Comm_SetPrintLev(5);
        EXPECT_EQ(logged([&] { EXPECT_EQ(c.call(), c.result) << c.fn; }), Lines{}) << c.fn;
    }
    // Where the file system has no attribute requests nothing changes.
    EXPECT_EQ(Zev_Comm_SetDirHide(path("dir").c_str(), 1), 0);
    EXPECT_EQ(Zev_Comm_SetFileHide(path("digits").c_str(), 1), 0);
    EXPECT_EQ(read_file(path("digits")), "0123456789");
    EXPECT_EQ(Zev_Comm_SetFileHide(path("new").c_str(), 1), 0);
    EXPECT_EQ(Zev_Comm_GetFileSize(path("new").c_str()), 0) << "a missing file is created";
}

TEST_F(FileChores, NonBlockingReadGivesWhatReadGave) {
    const std::string fifo = path("node");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int writer = open(fifo.c_str(), O_RDWR | O_NONBLOCK);  // keeps the pipe alive between calls
    const Lines minus6 = {"VER Zev_Comm_ReadDev_NonBlock :[" + fifo + "] ret = -6\n"};
    const struct {
        std::string ready;
        uint32_t size;
        int32_t result;
        Lines lines;
    } cases[] = {
        {"", 8, -1, minus6}, {"abc", 8, 3, minus6}, {"abcdefgh", 8, 8, {}}, {"abcdefghij", 4, 4, {}}};
    for (const auto &c : cases) {
        char buf[16] = {};
        while (read(writer, buf, sizeof buf) > 0) {
        }
        ASSERT_EQ(write(writer, c.ready.data(), c.ready.size()), static_cast<ssize_t>(c.ready.size()));
        int32_t r = 0;
        EXPECT_EQ(logged([&] { r = Zev_Comm_ReadDev_NonBlock(fifo.c_str(), buf, c.size); }), c.lines)
            << c.ready;
        EXPECT_EQ(r, c.result) << c.ready;
        EXPECT_EQ(std::string(buf, r > 0 ? r : 0), c.ready.substr(0, r > 0 ? r : 0)) << c.ready;
    }
    close(writer);
}

// touch and rm -rf through the shell: the command text, the result that is
// always 1 (the stub rm fails), and the path limits.
TEST(FileShell, CommandsAsTheShellSeesThem) {
    Zev_Comm_SetPrintLev(7);
    testsupport::StubCommands stubs;
    const std::string argc = "echo \"argc $#\" >> '" + stubs.log_path() + "'", p121(121, 'a'), p120(120, 'b');
    stubs.add("touch", argc);
    stubs.add("rm", argc + "\nexit 1");
    const struct {
        bool create;
        std::string path;
        Lines calls, lines;
    } cases[] = {
        {true, "/mnt/mmc/a b", {"touch /mnt/mmc/a b", "argc 2"}, {}},  // a blank splits
        {true, p121, {"touch " + p121, "argc 1"}, {}},
        {true, p121 + "x", {}, {"VER Zev_Comm_CreateNormalFile :---" + p121 + "x---too long\r\n"}},
        {false, p120, {"rm -rf " + p120, "argc 2"}, {}},
        {false, p120 + "/", {}, {"VER Zev_Comm_DeleteFile :---" + p120 + "/---too long\r\n"}},
    };
    for (const auto &c : cases) {
        stubs.clear();
        int32_t r = 0;
        EXPECT_EQ(logged([&] {
                      r = c.create ? Zev_Comm_CreateNormalFile(c.path.c_str())
                                   : Zev_Comm_DeleteFile(c.path.c_str());
                  }),
                  c.lines);
        EXPECT_EQ(r, 1) << c.path;
        EXPECT_EQ(stubs.calls(), c.calls) << c.path;
    }
}

// Waiting for a path: the tests and the pauses between them, with the path
// showing up during a pause.
TEST(WaitForFolder, TestsAndPauses) {
    Zev_Comm_SetPrintLev(7);
    constexpr int kNever = -1, kAtOnce = -2;
    const struct {
        int32_t interval, timeout;
        int appears;  // kAtOnce, kNever, or during the pause with this index
        int32_t result;
        std::vector<unsigned> pauses;
    } cases[] = {
        {300, 1000, kAtOnce, 1, {}},
        {300, 1000, 1, 1, {300000, 300000}},
        {300, 1000, 2, 0, {300000, 300000, 300000}},  // during the last pause: too late
        {250, 1000, kNever, 0, {250000, 250000, 250000, 250000}},
        {500, 400, kAtOnce, 0, {}},  // time-out below the interval
        {0, 1000, kAtOnce, 1, {}},
        {-5, 1000, kNever, 0, {}},
        {2500, 5000, kNever, 0, {1000000, 1000000, 500000, 1000000, 1000000, 500000}},  // in steps
    };
    for (const auto &c : cases) {
        testsupport::TempDir dir;
        const std::string target = dir / "mnt";
        ASSERT_TRUE(c.appears != kAtOnce || write_file(target, ""));
        fake_sleep::pauses.clear();
        fake_sleep::on_pause = [&](size_t index, unsigned) {
            if (static_cast<int>(index) == c.appears) write_file(target, "");
        };
        int32_t r = -1;
        const Lines lines =
            logged([&] { r = Zev_Comm_Waitfor_Folder(target.c_str(), c.interval, c.timeout); });
        SCOPED_TRACE(testing::Message() << c.interval << " " << c.timeout << " " << c.appears);
        EXPECT_EQ(r, c.result);
        EXPECT_EQ(fake_sleep::pauses, c.pauses);
        EXPECT_EQ(
            lines,
            Lines{"DBG Zev_Comm_Waitfor_Folder :" + (r == 1 ? "get " + target : target + " timeout") + "\n"});
    }
    fake_sleep::on_pause = nullptr;
}

}  // namespace
