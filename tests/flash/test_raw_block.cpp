// Raw block access on simulated mtd block devices: results, bytes moved,
// failure lines and their levels, descriptors closed.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_mtd.h"
#include "flash_bed.hpp"
#include "log_lines.hpp"

using testsupport::Bytes;
using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

class RawBlock : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<testsupport::FlashBed>();
        flash_->add_device(5, 0x1000);
        Zev_Comm_SetPrintLev(6);
    }
    std::unique_ptr<testsupport::FlashBed> flash_;
};

const Bytes kAbc = {'a', 'b', 'c'};

TEST_F(RawBlock, WritesLandAtTheirOffset) {
    const struct {
        const char *name;
        std::function<int()> call;
        int index;
        uint32_t offset;
    } cases[] = {
        {"by path", [] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", 0x100, "abc", 3); }, 2,
         0x100},
        {"by index", [] { return Zev_Comm_MtdBlockWrite(1, 0x7FF0, "abc", 3); }, 1, 0x7FF0},
        {"index 5", [] { return Zev_Comm_MtdBlockWrite(5, 0, "abc", 3); }, 5, 0},
    };
    FILE *held = fopen(flash_->image_path(2).c_str(), "rb");
    EXPECT_EQ(testsupport::open_on_image(*flash_, 2), 1);  // the count sees an open descriptor
    fclose(held);
    for (const auto &c : cases) {
        int r = 99;
        const std::string out = capture_stdout([&] { r = c.call(); });
        EXPECT_EQ(r, 0) << c.name;
        EXPECT_EQ(out, "") << c.name;
        EXPECT_EQ(flash_->bytes(c.index, c.offset, 3), kAbc) << c.name;
        EXPECT_EQ(flash_->bytes(c.index, c.offset + 3, 1), Bytes{0xFF}) << c.name;
        EXPECT_EQ(testsupport::open_on_image(*flash_, c.index), 0) << c.name;
    }
}

TEST_F(RawBlock, ReadsFillTheBuffer) {
    flash_->put(2, 0x7FF0, Bytes{1, 2, 3, 4});
    char buf[8] = {};
    EXPECT_EQ(Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock2", 0x7FF0, buf, 4), 0);
    EXPECT_EQ(0, memcmp(buf, "\x01\x02\x03\x04", 4));
    memset(buf, 0, sizeof buf);
    EXPECT_EQ(Zev_Comm_MtdBlocRead(2, 0x7FF1, buf, 3), 0);
    EXPECT_EQ(0, memcmp(buf, "\x02\x03\x04", 3));
}

TEST_F(RawBlock, FailuresGiveTheirCodeAndLine) {
    const std::string long_path = "/dev/mtdblock2" + std::string(20, '/');  // 34 characters
    char buf[8];
    const struct {
        const char *name;
        std::function<int()> call;
        int code;
        std::string line;  // at print level 6
    } cases[] = {
        {"write, no device", [] { return Zev_Comm_MtdBlockWrite(9, 16, "abc", 3); }, -4,
         "WAR Zev_Comm_MtdBlockWrite :[/dev/mtdblock9] iRetLen:0,offset:16 len:3, ret = -4\n"},
        {"write, negative offset", [] { return Zev_Comm_MtdBlockWrite(2, -1, "abc", 3); }, -5,
         "WAR Zev_Comm_MtdBlockWrite :[/dev/mtdblock2] iRetLen:0,offset:-1 len:3, ret = -5\n"},
        {"write by path, no device",
         [] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/nothing", 0, "abc", 3); }, -4,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[/dev/nothing] offset:0 len:3, ret = -4\n"},
        {"write by path, negative offset",
         [] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", -4096, "abc", 3); }, -5,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[/dev/mtdblock2] offset:-4096 len:3, ret = -5\n"},
        {"write by path, negative length",
         [] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", 0, "abc", -1); }, -6,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[/dev/mtdblock2] offset:0 len:-1, ret = -6\n"},
        {"write by path, path too long",
         [&] { return Zev_Comm_MtdBlockWrite_ByPath(long_path.c_str(), 0, "abc", 3); }, -4,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[" + long_path.substr(0, 31) + "] offset:0 len:3, ret = -4\n"},
        {"read, no device", [&] { return Zev_Comm_MtdBlocRead(9, 0, buf, 3); }, -4,
         "VER Zev_Comm_MtdBlocRead :[/dev/mtdblock9] ret = -4\n"},
        {"read past the end", [&] { return Zev_Comm_MtdBlocRead(5, 0xFFE, buf, 4); }, -6,
         "VER Zev_Comm_MtdBlocRead :[/dev/mtdblock5] ret = -6\n"},
        {"read by path, negative offset",
         [&] { return Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock5", -1, buf, 4); }, -5,
         "VER Zev_Comm_MtdBlocRead_ByPath :[/dev/mtdblock5] ret = -5\n"},
        {"read by path, negative length",
         [&] { return Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock5", 0, buf, -8); }, -6,
         "VER Zev_Comm_MtdBlocRead_ByPath :[/dev/mtdblock5] ret = -6\n"},
        {"read by path, path too long",
         [&] { return Zev_Comm_MtdBlocRead_ByPath(long_path.c_str(), 0, buf, 3); }, -4,
         "VER Zev_Comm_MtdBlocRead_ByPath :[" + long_path.substr(0, 31) + "] ret = -4\n"},
    };
    const Bytes image2 = flash_->image(2);
    const Bytes image5 = flash_->image(5);
    for (int level : {6, 5}) {
        Zev_Comm_SetPrintLev(level);
        for (const auto &c : cases) {
            int r = 0;
            const auto lines = summarise(capture_stdout([&] { r = c.call(); }));
            EXPECT_EQ(r, c.code) << c.name;
            const bool shown = level >= (c.line[0] == 'W' ? 2 : 6);
            EXPECT_EQ(lines, shown ? std::vector<std::string>{c.line} : std::vector<std::string>{})
                << c.name << " at " << level;
            EXPECT_EQ(testsupport::open_on_image(*flash_, 2), 0) << c.name;
            EXPECT_EQ(testsupport::open_on_image(*flash_, 5), 0) << c.name;
        }
    }
    EXPECT_EQ(flash_->image(2), image2);
    EXPECT_EQ(flash_->image(5), image5);
}

TEST_F(RawBlock, ShortReadKeepsWhatArrived) {
    flash_->put(5, 0xFFE, Bytes{0x11, 0x22});
    unsigned char buf[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    capture_stdout([&] { EXPECT_EQ(Zev_Comm_MtdBlocRead(5, 0xFFE, buf, 4), -6); });
    EXPECT_EQ(Bytes(buf, buf + 4), (Bytes{0x11, 0x22, 0xEE, 0xEE}));
}

TEST_F(RawBlock, ZeroLengthTransfersNothing) {
    const Bytes before = flash_->image(2);
    char buf[1] = {'q'};
    EXPECT_EQ(Zev_Comm_MtdBlockWrite(2, 0x10, "abc", 0), 0);
    EXPECT_EQ(Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", 0x10, "abc", 0), 0);
    EXPECT_EQ(Zev_Comm_MtdBlocRead(2, 0x10, buf, 0), 0);
    EXPECT_EQ(Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock2", 0x10, buf, 0), 0);
    EXPECT_EQ(buf[0], 'q');
    EXPECT_EQ(flash_->image(2), before);
}

}  // namespace
