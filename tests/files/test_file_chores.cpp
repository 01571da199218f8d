// SPDX-License-Identifier: MIT
// File chores on a private folder: each function's own results and failure
// lines, the bytes read and written, touch and rm through stub commands.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <functional>
#include <tuple>

#include "comm_file.h"
#include "common.hpp"

namespace {

struct FileChores : ::testing::Test {
    void SetUp() override {
        Zev_Comm_SetPrintLev(7);
        ASSERT_TRUE(write_file(path("f"), std::string("ab\0cd", 5)) && write_file(path("empty"), ""));
        ASSERT_TRUE(write_file(path("digits"), "0123456789") && mkdir(path("dir").c_str(), 0755) == 0);
    }
    std::string path(const std::string &rel) const { return dir_ / rel; }
    testsupport::TempDir dir_;
};

TEST_F(FileChores, ExistenceAndSize) {
    // clang-format off
    const std::tuple<std::string, int32_t, int32_t> cases[] = {
        {path("f"), 1, 5}, {path("empty"), 1, 0}, {path("missing"), 0, -1}, {path("f/x"), 0, -1}, {"", 0, -1}};
    // clang-format on
    for (const auto &[name, exists, size] : cases) {
        EXPECT_EQ(Zev_Comm_IsFileExist(name.c_str()), exists) << name;
        EXPECT_EQ(Zev_Comm_GetFileSize(name.c_str()), size) << name;
    }
    EXPECT_EQ(Zev_Comm_IsFileExist(path("dir").c_str()), 1);
    // Sparse files past 2 GiB: the size cut to 32 bits, also on a 32-bit
    // build (where a stat() without 64-bit offsets fails).
    for (const auto &[size, cut] : {std::pair{(1LL << 32) + 5, 5}, {1LL << 31, INT32_MIN}}) {
        const std::string big = path("big");
        ASSERT_TRUE(write_file(big, "") && truncate(big.c_str(), size) == 0);
        EXPECT_EQ(Zev_Comm_GetFileSize(big.c_str()), cut) << size;
    }
}

// file, offset (INT32_MIN: ReadFile, which gives 0), size, result, the
// 10-byte buffer ('X' before); a refused seek reads from the start.
TEST_F(FileChores, Reads) {
    const std::string ab("ab\0cdXXXXX", 10);
    // clang-format off
    const std::tuple<const char *, int32_t, uint32_t, int32_t, std::string> cases[] = {
        {"f", INT32_MIN, 5, 0, ab}, {"f", INT32_MIN, 8, 0, ab}, {"empty", INT32_MIN, 8, 0, "XXXXXXXXXX"},
        {"digits", 3, 4, 4, "3456XXXXXX"}, {"digits", 20, 6, 0, "XXXXXXXXXX"}, {"digits", -4, 10, 4, "6789XXXXXX"},
        {"digits", -10, 3, 3, "012XXXXXXX"}, {"digits", -11, 10, 10, "0123456789"}};
    // clang-format on
    for (const auto &[file, offset, size, result, buffer] : cases) {
        std::string buf(10, 'X');
        const std::string p = path(file);
        EXPECT_EQ(offset == INT32_MIN ? Zev_Comm_ReadFile(p.c_str(), buf.data(), size)
                                      : Zev_Comm_ReadFileEx(p.c_str(), offset, buf.data(), size),
                  result)
            << file << " " << offset;
        EXPECT_EQ(buf, buffer) << file << " " << offset;
    }
    ASSERT_TRUE(write_file(path("big"), std::string(300, 'b')));
    char big[300];
    EXPECT_EQ(Zev_Comm_ReadFileEx(path("big").c_str(), 0, big, 255), 255) << "looks like a failure";
}

// Columns: append, the file before ("-": none), size, the file after.
TEST_F(FileChores, WriteReplacesAndAppendAdds) {
    const std::string bytes("a\0b\nc", 5), f = path("out");
    const std::tuple<bool, std::string, uint32_t, std::string> cases[] = {
        {false, "-", 5, bytes}, {false, "old", 2, std::string("a\0", 2)}, {false, "old", 0, ""},
        {true, "-", 5, bytes},  {true, "old", 5, "old" + bytes},          {true, "-", 0, ""}};
    for (const auto &[append, before, size, after] : cases) {
        unlink(f.c_str());
        ASSERT_TRUE(before == "-" || write_file(f, before));
        EXPECT_EQ(logged([&] {
                      return append ? Zev_Comm_AppendFile(f.c_str(), bytes.data(), size)
                                    : Zev_Comm_WriteFile(f.c_str(), bytes.data(), size);
                  }),
                  std::pair(0, Lines{}));
        EXPECT_TRUE(testsupport::file_exists(f));
        EXPECT_EQ(read_file(f), after) << append << " " << before << " " << size;
    }
}

// Every failure has its own result and VER line.
TEST_F(FileChores, FailuresAndTheirLines) {
    char buf[8];
    const std::string no = path("no/f"), none = path("none");
    // clang-format off
    const std::tuple<const char *, std::function<int32_t()>, int32_t, std::string> cases[] = {
        {"ReadFile", [&] { return Zev_Comm_ReadFile(none.c_str(), buf, 4); }, 1, "[ZEV]ZevReadFile---" + none + "---failed!uRet=1 (0 bytes)\r\n"},
        {"ReadFileEx", [&] { return Zev_Comm_ReadFileEx(none.c_str(), 0, buf, 4); }, 255, "[ZEV]ZevReadFile---" + none + "---failed!uRet=255 (0 bytes)\r\n"},
        {"WriteFile", [&] { return Zev_Comm_WriteFile(no.c_str(), "x", 1); }, 1, "[ZEV]ZevWriteFile---" + no + "---failed!uRet=1\r\n"},
        {"AppendFile", [&] { return Zev_Comm_AppendFile(no.c_str(), "x", 1); }, 1, "[ZEV]Zev_Comm_AppendFile---" + no + "---failed!uRet=1\r\n"},
        {"ReadDev_NonBlock", [&] { return Zev_Comm_ReadDev_NonBlock(none.c_str(), buf, 4); }, 0, "[" + none + "] ret = -4\n"},
        {"SetFileHide", [&] { return Zev_Comm_SetFileHide(path("dir").c_str(), 1); }, 1, "---" + path("dir") + "---failed!uRet=1\r\n"},
        {"SetDirHide", [&] { return Zev_Comm_SetDirHide(path("f").c_str(), 1); }, 255, "---" + path("f") + "---failed!uRet=255\r\n"}};
    // clang-format on
    for (const auto &[fn, call, result, message] : cases)
        EXPECT_EQ(logged([&, &c = call, r = result] { EXPECT_EQ(c(), r) << fn; }),
                  Lines{"VER Zev_Comm_" + std::string(fn) + " :" + message});
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
    // ready, size, result, lines
    const std::tuple<std::string, uint32_t, int32_t, Lines> cases[] = {
        {"", 8, -1, minus6}, {"abc", 8, 3, minus6}, {"abcdefgh", 8, 8, {}}, {"abcdefghij", 4, 4, {}}};
    for (const auto &[ready, size, result, want] : cases) {
        char buf[16] = {};
        while (read(writer, buf, sizeof buf) > 0) {
        }
        ASSERT_EQ(write(writer, ready.data(), ready.size()), static_cast<ssize_t>(ready.size()));
        const auto got = logged([&] { return Zev_Comm_ReadDev_NonBlock(fifo.c_str(), buf, size); });
        const int32_t r = got.first;
        EXPECT_EQ(got, std::pair(result, want)) << ready;
        EXPECT_EQ(std::string(buf, r > 0 ? r : 0), ready.substr(0, r > 0 ? r : 0)) << ready;
    }
    close(writer);
}

// touch and rm -rf: the command, the path limits, always 1 (the stub rm fails).
TEST(FileShell, CommandsAsTheShellSeesThem) {
    Zev_Comm_SetPrintLev(7);
    testsupport::StubCommands stubs;
    const std::string argc = "echo \"argc $#\" >> '" + stubs.log_path() + "'", p121(121, 'a'), p120(120, 'b');
    stubs.add("touch", argc);
    stubs.add("rm", argc + "\nexit 1");
    const std::tuple<bool, std::string, Lines> cases[] = {
        // create, path, calls (none: too long)
        // clang-format off
        {true, "/mnt/mmc/a b", {"touch /mnt/mmc/a b", "argc 2"}}, {true, p121, {"touch " + p121, "argc 1"}},
        {true, p121 + "x", {}}, {false, p120, {"rm -rf " + p120, "argc 2"}}, {false, p120 + "/", {}}};
    // clang-format on
    for (const auto &[create, path, calls] : cases) {
        stubs.clear();
        const std::string fn = create ? "VER Zev_Comm_CreateNormalFile :---" : "VER Zev_Comm_DeleteFile :---";
        EXPECT_EQ(logged([&, c = create, p = path] {
                      return c ? Zev_Comm_CreateNormalFile(p.c_str()) : Zev_Comm_DeleteFile(p.c_str());
                  }),
                  std::pair(1, calls.empty() ? Lines{fn + path + "---too long\r\n"} : Lines{}))
            << path;
        EXPECT_EQ(stubs.calls(), calls) << path;
    }
}

}  // namespace
