// File chores on a private folder: each function's own results, the bytes
// read and written, the non-blocking device read, and the FAT hidden bit
// through a stand-in for the driver's two attribute requests.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_file.h"
#include "comm_log.h"
#include "log_lines.hpp"
#include "tempdir.hpp"

using testsupport::capture_stdout;
using testsupport::read_file;
using testsupport::summarise;
using testsupport::write_file;

namespace {

constexpr unsigned long kGetAttributes = 0x80047210UL;
constexpr unsigned long kSetAttributes = 0x40047211UL;

// Stands for the FAT driver while armed: answers the two attribute
// requests on any descriptor, records them, and passes everything else on.
struct FatDriver {
    bool armed = false;
    bool get_fails = false;
    uint32_t attributes = 0;
    struct Call {
        unsigned long request;
        uint32_t word;
        bool on_directory;
        bool operator==(const Call &) const = default;
    };
    std::vector<Call> calls;
};
FatDriver g_fat;

}  // namespace

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list ap;
    va_start(ap, request);
    void *arg = va_arg(ap, void *);
    va_end(ap);
    if (g_fat.armed && (request == kGetAttributes || request == kSetAttributes)) {
        struct stat st {};
        fstat(fd, &st);
        auto *word = static_cast<uint32_t *>(arg);
        if (request == kGetAttributes) {
            g_fat.calls.push_back({request, *word, S_ISDIR(st.st_mode)});
            if (g_fat.get_fails) {
                errno = ENOTTY;
                return -1;
            }
            *word = g_fat.attributes;
            return 0;
        }
        g_fat.calls.push_back({request, *word, S_ISDIR(st.st_mode)});
        g_fat.attributes = *word;
        return 0;
    }
    using ioctl_fn = int (*)(int, unsigned long, ...);
    static auto real = reinterpret_cast<ioctl_fn>(dlsym(RTLD_NEXT, "ioctl"));
    return real(fd, request, arg);
}

namespace {

class FileChores : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(7);
        g_fat = FatDriver{};
    }
    void TearDown() override { g_fat.armed = false; }
    std::string path(const std::string &rel) const { return dir_ / rel; }
    testsupport::TempDir dir_;
};

TEST_F(FileChores, ExistenceAndSize) {
    ASSERT_TRUE(write_file(path("five"), "12345"));
    ASSERT_TRUE(write_file(path("empty"), ""));
    const struct {
        std::string path;
        int32_t exists;
        int32_t size;
    } cases[] = {
        {path("five"), 1, 5}, {path("empty"), 1, 0}, {path("missing"), 0, -1}, {"", 0, -1},
        {path("five/x"), 0, -1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Zev_Comm_IsFileExist(c.path.c_str()), c.exists) << c.path;
        EXPECT_EQ(Zev_Comm_GetFileSize(c.path.c_str()), c.size) << c.path;
    }
    EXPECT_EQ(Zev_Comm_IsFileExist(dir_.path().c_str()), 1);
}

TEST_F(FileChores, ReadFileLeavesTheRestOfTheBuffer) {
    ASSERT_TRUE(write_file(path("f"), std::string("ab\0cd", 5)));
    ASSERT_TRUE(write_file(path("empty"), ""));
    const struct {
        const char *name;
        std::string file;
        uint32_t size;
        int32_t result;
        std::string buffer;  // 8 bytes, 'X' before the call
    } cases[] = {
        {"whole", "f", 5, 0, std::string("ab\0cdXXX", 8)},
        {"short read", "f", 8, 0, std::string("ab\0cdXXX", 8)},
        {"part", "f", 2, 0, "abXXXXXX"},
        {"nothing asked", "f", 0, 0, "XXXXXXXX"},
        {"empty file", "empty", 8, 0, "XXXXXXXX"},
        {"missing", "missing", 8, 1, "XXXXXXXX"},
    };
    for (const auto &c : cases) {
        std::string buf(8, 'X');
        int32_t r = -1;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_ReadFile(path(c.file).c_str(), buf.data(), c.size); }));
        EXPECT_EQ(r, c.result) << c.name;
        EXPECT_EQ(buf, c.buffer) << c.name;
        if (c.result == 1) {
            EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_ReadFile :[ZEV]ZevReadFile---" + path(c.file) +
                                                      "---failed!uRet=1 (0 bytes)\r\n"});
        } else {
            EXPECT_TRUE(lines.empty()) << c.name;
        }
    }
}

TEST_F(FileChores, ReadFileExSeeksFromEitherEnd) {
    ASSERT_TRUE(write_file(path("digits"), "0123456789"));
    ASSERT_TRUE(write_file(path("big"), std::string(300, 'b')));
    const struct {
        std::string file;
        int32_t offset;
        uint32_t size;
        int32_t result;
        std::string bytes;
    } cases[] = {
        {"digits", 0, 4, 4, "0123"},
        {"digits", 3, 4, 4, "3456"},
        {"digits", 8, 6, 2, "89"},
        {"digits", 10, 6, 0, ""},
        {"digits", 20, 6, 0, ""},              // past the end
        {"digits", -4, 10, 4, "6789"},         // the last four
        {"digits", -10, 3, 3, "012"},
        {"digits", -11, 10, 10, "0123456789"},  // refused seek: from the start
        {"digits", -100, 16, 10, "0123456789"},
        {"big", 0, 255, 255, std::string(255, 'b')},  // looks like a failure
    };
    for (const auto &c : cases) {
        char buf[300] = {};
        const int32_t r = Zev_Comm_ReadFileEx(path(c.file).c_str(), c.offset, buf, c.size);
        EXPECT_EQ(r, c.result) << c.file << " " << c.offset;
        EXPECT_EQ(std::string(buf, r > 0 ? static_cast<size_t>(r) : 0), c.bytes) << c.offset;
    }
    int32_t r = 0;
    char buf[4] = {};
    const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_ReadFileEx(path("none").c_str(), 0, buf, 4); }));
    EXPECT_EQ(r, 255);
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_ReadFileEx :[ZEV]ZevReadFile---" + path("none") +
                                              "---failed!uRet=255 (0 bytes)\r\n"});
}

TEST_F(FileChores, WriteReplacesAndAppendAdds) {
    const std::string bytes("a\0b\nc", 5);
    const struct {
        const char *name;
        bool append;
        std::string before;  // "-" for no file
        uint32_t size;
        std::string after;
    } cases[] = {
        {"write new", false, "-", 5, bytes},
        {"write replaces", false, "old old old", 5, bytes},
        {"write part", false, "old", 2, std::string("a\0", 2)},
        {"write nothing", false, "old", 0, ""},
        {"append new", true, "-", 5, bytes},
        {"append adds", true, "old", 5, "old" + bytes},
        {"append nothing", true, "old", 0, "old"},
        {"append nothing new", true, "-", 0, ""},
    };
    for (const auto &c : cases) {
        const std::string f = path("out");
        unlink(f.c_str());
        if (c.before != "-") {
            ASSERT_TRUE(write_file(f, c.before));
        }
        int32_t r = -1;
        const std::string out = capture_stdout([&] {
            r = c.append ? Zev_Comm_AppendFile(f.c_str(), bytes.data(), c.size)
                         : Zev_Comm_WriteFile(f.c_str(), bytes.data(), c.size);
        });
        EXPECT_EQ(r, 0) << c.name;
        EXPECT_EQ(out, "") << c.name;
        EXPECT_TRUE(testsupport::file_exists(f)) << c.name;
        EXPECT_EQ(read_file(f), c.after) << c.name;
    }
}

TEST_F(FileChores, WriteFailuresLogTheirLines) {
    const std::string f = path("no/such/folder/file");
    int32_t r = 0;
    auto lines = summarise(capture_stdout([&] { r = Zev_Comm_WriteFile(f.c_str(), "x", 1); }));
    EXPECT_EQ(r, 1);
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_WriteFile :[ZEV]ZevWriteFile---" + f + "---failed!uRet=1\r\n"});
    lines = summarise(capture_stdout([&] { r = Zev_Comm_AppendFile(f.c_str(), "x", 1); }));
    EXPECT_EQ(r, 1);
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_AppendFile :[ZEV]Zev_Comm_AppendFile---" + f +
                                              "---failed!uRet=1\r\n"});
    // Failure lines are VER lines only.
    Zev_Comm_SetPrintLev(5);
    EXPECT_EQ(capture_stdout([&] { EXPECT_EQ(Zev_Comm_WriteFile(f.c_str(), "x", 1), 1); }), "");
    EXPECT_EQ(capture_stdout([&] { EXPECT_EQ(Zev_Comm_ReadFile(f.c_str(), &r, 1), 1); }), "");
}

TEST_F(FileChores, NonBlockingReadGivesWhatReadGave) {
    const std::string fifo = path("node");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // Our own end keeps the pipe alive between the calls.
    const int writer = open(fifo.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    const std::string minus6 = "VER Zev_Comm_ReadDev_NonBlock :[" + fifo + "] ret = -6\n";
    const struct {
        const char *name;
        std::string ready;
        uint32_t size;
        int32_t result;
        std::vector<std::string> lines;
    } cases[] = {
        {"nothing ready", "", 8, -1, {minus6}},
        {"fewer", "abc", 8, 3, {minus6}},
        {"all", "abcdefgh", 8, 8, {}},
        {"more than asked", "abcdefghij", 4, 4, {}},
    };
    for (const auto &c : cases) {
        char drain[64];
        while (read(writer, drain, sizeof drain) > 0) {
        }
        if (!c.ready.empty()) {
            ASSERT_EQ(write(writer, c.ready.data(), c.ready.size()), static_cast<ssize_t>(c.ready.size()));
        }
        char buf[16] = {};
        int32_t r = 0;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_ReadDev_NonBlock(fifo.c_str(), buf, c.size); }));
        EXPECT_EQ(r, c.result) << c.name;
        EXPECT_EQ(lines, c.lines) << c.name;
        if (r > 0) {
            EXPECT_EQ(std::string(buf, static_cast<size_t>(r)), c.ready.substr(0, static_cast<size_t>(r))) << c.name;
        }
    }
    close(writer);
    char buf[4];
    int32_t r = -1;
    const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_ReadDev_NonBlock(path("gone").c_str(), buf, 4); }));
    EXPECT_EQ(r, 0);
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_ReadDev_NonBlock :[" + path("gone") + "] ret = -4\n"});
}

// The file side of these requests is also answered on a mocked node
// (test_file_hide_node); folders can only be reached this way.
TEST_F(FileChores, FolderHiddenBitIsTheOnlyBitThatChanges) {
    const struct {
        uint32_t before;
        int32_t hide;
        bool get_fails;
        std::vector<FatDriver::Call> calls;
    } cases[] = {
        {0x10, 1, false, {{kGetAttributes, 0, true}, {kSetAttributes, 0x12, true}}},
        {0x13, 0, false, {{kGetAttributes, 0, true}, {kSetAttributes, 0x11, true}}},
        {0xFFFFFFFD, 7, false, {{kGetAttributes, 0, true}, {kSetAttributes, 0xFFFFFFFF, true}}},
        {0x10, 1, true, {{kGetAttributes, 0, true}}},  // nothing given, nothing written back
    };
    ASSERT_EQ(mkdir(path("dir").c_str(), 0755), 0);
    for (const auto &c : cases) {
        g_fat = FatDriver{true, c.get_fails, c.before, {}};
        const int32_t r = Zev_Comm_SetDirHide(path("dir").c_str(), c.hide);
        g_fat.armed = false;
        EXPECT_EQ(r, 0);
        EXPECT_EQ(g_fat.calls, c.calls) << std::hex << c.before << " " << c.hide;
    }
    // A file system without the requests at all: nothing changes, result 0.
    EXPECT_EQ(Zev_Comm_SetDirHide(path("dir").c_str(), 0), 0);
    ASSERT_TRUE(write_file(path("file"), "data"));
    EXPECT_EQ(Zev_Comm_SetFileHide(path("file").c_str(), 1), 0);
    EXPECT_EQ(read_file(path("file")), "data") << "the content is left alone";
}

TEST_F(FileChores, HideOpenFailures) {
    ASSERT_TRUE(write_file(path("plain"), "p"));
    ASSERT_EQ(mkdir(path("dir").c_str(), 0755), 0);
    g_fat.armed = true;
    const struct {
        const char *name;
        bool dir_call;
        std::string target;
        int32_t result;
        std::string message;
    } cases[] = {
        {"file on a folder", false, path("dir"), 1, "---" + path("dir") + "---failed!uRet=1\r\n"},
        {"file in a missing folder", false, path("none/f"), 1, "---" + path("none/f") + "---failed!uRet=1\r\n"},
        {"folder that is a file", true, path("plain"), 255, "---" + path("plain") + "---failed!uRet=255\r\n"},
        {"missing folder", true, path("none"), 255, "---" + path("none") + "---failed!uRet=255\r\n"},
    };
    for (const auto &c : cases) {
        int32_t r = 0;
        const auto lines = summarise(capture_stdout([&] {
            r = c.dir_call ? Zev_Comm_SetDirHide(c.target.c_str(), 1) : Zev_Comm_SetFileHide(c.target.c_str(), 1);
        }));
        EXPECT_EQ(r, c.result) << c.name;
        const std::string fn = c.dir_call ? "Zev_Comm_SetDirHide" : "Zev_Comm_SetFileHide";
        EXPECT_EQ(lines, std::vector<std::string>{"VER " + fn + " :" + c.message}) << c.name;
    }
    EXPECT_TRUE(g_fat.calls.empty());
}

TEST_F(FileChores, HidingAMissingFileCreatesIt) {
    const std::string f = path("new");
    EXPECT_EQ(Zev_Comm_SetFileHide(f.c_str(), 1), 0);
    EXPECT_EQ(Zev_Comm_GetFileSize(f.c_str()), 0);
}

TEST_F(FileChores, NothingIsLeftOpen) {
    ASSERT_TRUE(write_file(path("f"), "abc"));
    ASSERT_EQ(mkdir(path("d").c_str(), 0755), 0);
    const int before = dup(0);
    close(before);
    char buf[8];
    for (int i = 0; i < 50; ++i) {
        capture_stdout([&] {
            Zev_Comm_ReadFile(path("f").c_str(), buf, 3);
            Zev_Comm_ReadFileEx(path("f").c_str(), -1, buf, 3);
            Zev_Comm_WriteFile(path("w").c_str(), buf, 3);
            Zev_Comm_AppendFile(path("w").c_str(), buf, 3);
            Zev_Comm_ReadDev_NonBlock(path("f").c_str(), buf, 8);
            Zev_Comm_SetFileHide(path("f").c_str(), 1);
            Zev_Comm_SetDirHide(path("d").c_str(), 1);
            Zev_Comm_SetDirHide(path("f").c_str(), 1);
        });
    }
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

}  // namespace
