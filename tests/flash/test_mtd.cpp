// SPDX-License-Identifier: MIT
// Partition lookup, raw block access and the partition manager on a
// simulated flash: results, lines, bounds, and no descriptor left open.
#include <gtest/gtest.h>

#include "comm_log.h"
#include "comm_mtd.h"
#include "comm_mtdmgr.h"
#include "flash_bed.hpp"
#include "log_lines.hpp"

using namespace testsupport;

namespace {

class Mtd : public ::testing::Test {
public:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<FlashBed>();
        Zev_Comm_SetPrintLev(0);
    }
    std::unique_ptr<FlashBed> flash_;
};

TEST_F(Mtd, LookupOfSizeAndPath) {
    Zev_Comm_SetPrintLev(5);
    const std::string name61(61, 'N'), name62(62, 'M');
    flash_->set_mtd_list(
        "dev:    size   erasesize  name\nmtd1: 00008000 00001000 \"KEY_CUST1\"\n"
        "mtd2: 00008000 00001000 \"KEY_CUST\"\nmtd3: 00010000 00001000 \"SETTINGS\"\n"
        "mtd5: 00200000 00010000 \"KERNEL\"\nmtd6: zz 00001000 \"BADSIZE\"\n"
        "\"NOCOLON\" mtd8 00001000\nmd: 00001000 00001000 \"SHORTCOLON\"\nmtd" +
        std::string(60, '7') + ": 00001000 00001000 \"LONGINDEX\"\nmtd10: 00002000 00001000 \"" + name61 +
        "\"\nmtd11: 00002000 00001000 \"" + name62 +
        "\"\nmtd12: 00001000 00001000 \"\"\n"
        // Longer than the 256-byte line window: the reader splits them.
        "mtd13: 00003000 00001000 \"LONGLINE\"" +
        std::string(280, ' ') + "tail\nmtd14: 00004000 00001000 " + std::string(260, '-') +
        " \"LATEKEY\"\nmtd15: 123456789 00001000 \"HUGE\"\n");
    // null: not found
    // clang-format off
    const struct { const char *name; uint32_t size; const char *path; } cases[] = {
        {"KEY_CUST", 0x8000, "/dev/mtdblock2"},  // not the KEY_CUST1 line before it
        {"KEY_CUST1", 0x8000, "/dev/mtdblock1"}, {"KERNEL", 0x200000, "/dev/mtdblock5"}, {"BADSIZE", 0, "/dev/mtdblock6"},
        {"NOCOLON", 0, nullptr}, {"SHORTCOLON", 0, nullptr}, {"KEY", 0, nullptr}, {"key_cust", 0, nullptr},
        {"LONGINDEX", 0x1000, nullptr},  // the path would not fit 64 bytes
        {name61.c_str(), 0x2000, "/dev/mtdblock10"}, {name62.c_str(), 0, nullptr},  // too long for the search key
        {"", 0x1000, "/dev/mtdblock12"},  // the key "" is in that line
        {"LONGLINE", 0x3000, "/dev/mtdblock13"}, {nullptr, 0, nullptr},
        {"LATEKEY", 0, nullptr},  // its key lands in a piece without "mtd" and colon
        {"HUGE", 0xFFFFFFFF, "/dev/mtdblock15"},  // past 32 bits: the end of the range, not the low bits
    };
    // clang-format on
    for (const auto &c : cases) {
        const std::string label = c.name ? std::string(c.name).substr(0, 12) : "(null)";
        EXPECT_EQ(Zev_Comm_GetMtdPartSize(c.name), c.size) << label;
        capture_stdout([&] { EXPECT_STREQ(Zev_Comm_GetMtdPath(c.name), c.path) << label; });
    }
    EXPECT_EQ(logged([] { Zev_Comm_GetMtdPartSize("BADSIZE"); }),
              (Lines{"DBG Zev_Comm_GetMtdPartSize :mtd6: zz 00001000 \"BADSIZE\"\n",
                     "DBG Zev_Comm_GetMtdPartSize :part6:size = 0 (0x0)\n"}));
    EXPECT_EQ(logged([] { Zev_Comm_GetMtdPartSize("LONGINDEX"); }).back(),
              "DBG Zev_Comm_GetMtdPartSize :part2147483647:size = 4096 (0x1000)\n");
    EXPECT_EQ(logged([] { Zev_Comm_GetMtdPath("KERNEL"); }),
              Lines{"DBG Zev_Comm_GetMtdPath :\"KERNEL\" strPath = /dev/mtdblock5\n"});
    // Both lookups hand out one buffer, which failures leave alone; a name
    // not found, or no list at all, is silent.
    char *path = Zev_Comm_GetMtdPath("KEY_CUST");
    for (const char *name : {"NOCOLON", "LONGINDEX", name62.c_str()}) Zev_Comm_GetMtdPath(name);
    EXPECT_EQ(capture_stdout([] { Zev_Comm_GetMtdPath("MISSING"), Zev_Comm_GetMtdPath(nullptr); }), "");
    EXPECT_STREQ(path, "/dev/mtdblock2");
    EXPECT_EQ(Zev_Comm_GetMtdPath("SETTINGS"), path);
    ASSERT_TRUE(flash_->bed().remove("/proc/mtd"));
    EXPECT_EQ(capture_stdout([] {
                  EXPECT_EQ(Zev_Comm_GetMtdPartSize("KEY_CUST") + !!Zev_Comm_GetMtdPath("KEY_CUST"), 0u);
              }),
              "");
    EXPECT_STREQ(path, "/dev/mtdblock3");
    for (const char *name : {(const char *)nullptr, "", "KEY_CUST", "not listed"})
        EXPECT_EQ(Zev_Comm_GetMtdEraseSize(name), 4096u);
}

TEST_F(Mtd, RawBlockTransfers) {
    flash_->add_device(5, 0x1000);
    Zev_Comm_SetPrintLev(6);
    FILE *held = fopen(flash_->image_path(2).c_str(), "rb");
    EXPECT_EQ(flash_->open_on_image(2), 1);  // the count sees an open descriptor
    fclose(held);
    // Written by index or path, read back through the other form; length 0
    // moves nothing.
    // clang-format off
    const struct { int index; int32_t offset, len; bool by_path; } rows[] = {{2, 0x100, 3, true},
        {1, 0x7FF0, 3, false}, {5, 0, 3, true}, {5, 0xFFD, 3, false}, {2, 0x10, 0, true}, {2, 0x10, 0, false}};
    // clang-format on
    for (const auto &r : rows) {
        const std::string dev = "/dev/mtdblock" + std::to_string(r.index);
        Bytes want = flash_->image(r.index);
        memcpy(&want[r.offset], "abc", r.len);
        char back[3] = {'q', 'q', 'q'};
        EXPECT_EQ(capture_stdout([&] {
                      EXPECT_EQ(r.by_path ? Zev_Comm_MtdBlockWrite_ByPath(dev.c_str(), r.offset, "abc", r.len)
                                          : Zev_Comm_MtdBlockWrite(r.index, r.offset, "abc", r.len),
                                0);
                      EXPECT_EQ(r.by_path ? Zev_Comm_MtdBlocRead(r.index, r.offset, back, r.len)
                                          : Zev_Comm_MtdBlocRead_ByPath(dev.c_str(), r.offset, back, r.len),
                                0);
                  }),
                  "")
            << dev;
        EXPECT_EQ(flash_->image(r.index), want) << dev;
        EXPECT_EQ(std::string(back, 3), std::string("abc", r.len) + std::string(3 - r.len, 'q')) << dev;
        EXPECT_EQ(flash_->open_on_image(r.index), 0) << dev;
    }
    // A short read keeps what arrived.
    char buf[4] = {'q', 'q', 'q', 'q'};
    EXPECT_EQ(Zev_Comm_MtdBlocRead(5, 0xFFE, buf, 4), -6);
    EXPECT_EQ(std::string(buf, 4), "bcqq");
}

TEST_F(Mtd, RawBlockFailures) {
    flash_->add_device(5, 0x1000);
    const std::string long_path = "/dev/mtdblock2" + std::string(20, '/');  // shown cut to 31 characters
    const char *const m2 = "/dev/mtdblock2", *const m5 = "/dev/mtdblock5", *const m9 = "/dev/mtdblock9";
    // clang-format off
    const struct { bool write, by_path; const char *dev; int32_t offset, len; int code; } cases[] = {
        {true, false, m9, 16, 3, -4},  {true, false, m2, -1, 3, -5},   {true, true, "/dev/nothing", 0, 3, -4},
        {true, true, m2, -4096, 3, -5}, {true, true, m2, 0, -1, -6},   {true, true, long_path.c_str(), 0, 3, -4},
        {false, false, m9, 0, 3, -4},  {false, false, m5, 0xFFE, 4, -6}, {false, true, m5, -1, 4, -5},
        {false, true, m5, 0, -8, -6},  {false, true, long_path.c_str(), 0, 3, -4},
    };
    // clang-format on
    const Bytes image2 = flash_->image(2), image5 = flash_->image(5);
    for (int level : {6, 5}) {
        Zev_Comm_SetPrintLev(level);
        for (const auto &c : cases) {
            const int index = c.dev[strlen(c.dev) - 1] - '0';
            char buf[8] = "abc";
            const std::string dev = std::string(c.dev).substr(0, 31),
                              ret = "ret = " + std::to_string(c.code) + "\n",
                              sizes = "offset:" + std::to_string(c.offset) + " len:" + std::to_string(c.len) +
                                      ", ";
            const std::string line =
                !c.write ? "VER Zev_Comm_MtdBlocRead" + std::string(c.by_path ? "_ByPath :[" : " :[") + dev +
                               "] " + ret
                : c.by_path ? "WAR Zev_Comm_MtdBlockWrite_ByPath :[" + dev + "] " + sizes + ret
                            : "WAR Zev_Comm_MtdBlockWrite :[" + dev + "] iRetLen:0," + sizes + ret;
            EXPECT_EQ(logged([&] {
                          return c.write
                                     ? (c.by_path ? Zev_Comm_MtdBlockWrite_ByPath(c.dev, c.offset, buf, c.len)
                                                  : Zev_Comm_MtdBlockWrite(index, c.offset, buf, c.len))
                                     : (c.by_path ? Zev_Comm_MtdBlocRead_ByPath(c.dev, c.offset, buf, c.len)
                                                  : Zev_Comm_MtdBlocRead(index, c.offset, buf, c.len));
                      }),
                      std::pair(c.code, c.write || level == 6 ? Lines{line} : Lines{}))
                << line << level;
            EXPECT_EQ(flash_->open_on_image(2) + flash_->open_on_image(5), 0) << line;
        }
    }
    EXPECT_EQ(flash_->image(2), image2);
    EXPECT_EQ(flash_->image(5), image5);
}

std::string err(const char *api, const char *key, int code) {
    return std::string("ERR ") + api + " :[" + key + "] ret = " + std::to_string(code) + "\n";
}

// Every key reaches its partition and offset (the sync flag has no visible effect).
TEST_F(Mtd, ManagerMapsEveryKey) {
    Zev_Comm_SetPrintLev(3);
    // clang-format off
    const struct { const char *key; int index; const char *part; int size; uint32_t base; int sync; } rows[] = {
        {"MTD_PART_UI", 2, "KEY_CUST", 0x8000, 0x0000, 1}, {"MTD_PART_UI_BACKUP", 1, "KEY_CUST1", 0x8000, 0x0000, 0},
        {"MTD_PART_SETTINGS", 3, "SETTINGS", 0x10000, 0x2000, 7},
        {"MTD_PART_SETTINGS_BACKUP", 2, "KEY_CUST", 0x8000, 0x2000, 1},
        {"MTD_PART_FACTORY", 2, "KEY_CUST", 0x8000, 0x4000, 1}, {"MTD_PART_SN", 2, "KEY_CUST", 0x8000, 0x6000, 1},
        {"MTD_PART_SN_BACKUP", 1, "KEY_CUST1", 0x8000, 0x6000, 0}};
    // clang-format on
    const Bytes data = {0x10, 0x20, 0x30, 0x40, 0x50};
    for (const auto &r : rows) {
        const auto inf = [&](const char *api) {
            char line[200];
            snprintf(line, sizeof line, "INF %s :%s size:%d, %s offset:%u, len=5\n", api, r.part, r.size,
                     r.key, r.base);
            return Lines{line};
        };
        for (int i : {1, 2, 3}) flash_->fill(i, 0xFF);
        Bytes want = flash_->image(r.index);
        std::copy(data.begin(), data.end(), want.begin() + r.base + 0x10);
        EXPECT_EQ(logged([&] { return Zev_MtdMgr_Write(r.key, 0x10, data.data(), 5, r.sync); }),
                  std::pair(5, inf("Zev_MtdMgr_Write")));
        EXPECT_EQ(flash_->image(r.index), want) << r.key;
        unsigned char back[5] = {};
        EXPECT_EQ(logged([&] { return Zev_MtdMgr_Read(r.key, 0x10, back, 5); }),
                  std::pair(5, inf("Zev_MtdMgr_Read")));
        EXPECT_EQ(Bytes(back, back + 5), data) << r.key;
        EXPECT_EQ(flash_->open_on_image(r.index), 0) << r.key;
    }
}

TEST_F(Mtd, ManagerKeyFailuresComeBeforeAnyDevice) {
    Zev_Comm_SetPrintLev(3);
    flash_->set_mtd_list("");  // a device lookup would fail with -32
    // clang-format off
    const struct { const char *key; int code; const char *shown; } cases[] = {
        {nullptr, -1, "UNK"}, {"MTD_PART_NOPE", -2, "MTD_PART_NOPE"}, {"", -2, ""}, {"mtd_part_sn", -2, "mtd_part_sn"},
        {"MTD_PART_SN ", -2, "MTD_PART_SN "}, {"MTD_PART_END", -3, "MTD_PART_END"}, {"MTD_PART_SN", -32, "MTD_PART_SN"},
    };
    // clang-format on
    char buf[4] = {};
    for (const auto &c : cases) {
        EXPECT_EQ(logged([&] { return Zev_MtdMgr_Read(c.key, 0, buf, 4); }),
                  std::pair(c.code, Lines{err("Zev_MtdMgr_Read", c.shown, c.code)}));
        EXPECT_EQ(logged([&] { return Zev_MtdMgr_Write(c.key, 0, buf, 4, 1); }),
                  std::pair(c.code, Lines{err("Zev_MtdMgr_Write", c.shown, c.code)}));
    }
}

TEST_F(Mtd, ManagerBoundIsThePartitionsEnd) {
    Zev_Comm_SetPrintLev(3);
    std::vector<unsigned char> buf(0x3000, 0xEE);
    // clang-format off
    const struct { const char *key; uint32_t offset, len; int result; } cases[] = {
        {"MTD_PART_SN", 0x1000, 0x1000, 0x1000},  /* ends exactly at 0x8000 */  {"MTD_PART_SN", 0x1000, 0x1001, -33},
        {"MTD_PART_SN", 0x2000, 0, 0},  /* nothing moved, right at the end */  {"MTD_PART_SN", 0x2001, 0, -33},
        {"MTD_PART_SN", 0x1FFF, 1, 1}, {"MTD_PART_SN", 0x10, 0xFFFFFFF0u, -33},
        {"MTD_PART_UI", 0, 0x2001, 0x2001},       // runs on into the next region
        {"MTD_PART_UI", 0, 0x8001, -33},          // refused before the buffer is touched
        {"MTD_PART_SN", 0xFFFFA000u, 0x10, -33},  // would wrap round to 0 in 32 bits
        {"MTD_PART_SETTINGS", 0xE000, 0, 0}, {"MTD_PART_SETTINGS", 0xE000, 1, -33}};
    // clang-format on
    for (const auto &c : cases) {
        const auto [r, lines] = logged([&] { return Zev_MtdMgr_Read(c.key, c.offset, buf.data(), c.len); });
        EXPECT_EQ(r, c.result) << c.key << " " << c.offset << " " << c.len;
        ASSERT_EQ(lines.size(), c.result < 0 ? 2u : 1u);
        EXPECT_EQ(lines.back(), c.result < 0 ? err("Zev_MtdMgr_Read", c.key, c.result) : lines.front());
    }
    const Bytes before = flash_->image(2);
    EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN", 0x1000, buf.data(), 0x1001, 1), -33);
    EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN", 0xFFFFA000u, buf.data(), 0x10, 1), -33);
    EXPECT_EQ(flash_->image(2), before);
}

TEST_F(Mtd, ManagerWithoutPartitionOrDevice) {
    Zev_Comm_SetPrintLev(3);
    char buf[4] = {};
    // KEY_CUST1 not findable: the backup copy fails, the first still works.
    flash_->set_mtd_list("mtd2: 00008000 00001000 \"KEY_CUST\"\nmtd" + std::string(60, '0') +
                         "4: 00008000 00001000 \"KEY_CUST1\"\n");
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN_BACKUP", 0, buf, 4), -34); }).back(),
              err("Zev_MtdMgr_Read", "MTD_PART_SN_BACKUP", -34));
    flash_->set_mtd_list("mtd2: 00008000 00001000 \"KEY_CUST\"\n");
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN_BACKUP", 0, buf, 4), -32); }),
              Lines{err("Zev_MtdMgr_Read", "MTD_PART_SN_BACKUP", -32)});
    EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN", 0, buf, 4), 4);
    // /proc/mtd claims more than the device holds: the bound passes, the
    // read comes up short and keeps what arrived.
    flash_->set_mtd_list("mtd2: 00010000 00001000 \"KEY_CUST\"\n");
    flash_->put(2, 0x7FFE, Bytes{0xAA, 0xBB});
    unsigned char got[4] = {0, 0, 0, 0};
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN", 0x1FFE, got, 4), -6); }).back(),
              err("Zev_MtdMgr_Read", "MTD_PART_SN", -6));
    EXPECT_EQ(Bytes(got, got + 4), (Bytes{0xAA, 0xBB, 0, 0}));
    EXPECT_EQ(flash_->open_on_image(2), 0);
    // Listed, but its device node is gone.
    flash_->remove_device(2);
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN", 0, buf, 4, 1), -4); }).back(),
              err("Zev_MtdMgr_Write", "MTD_PART_SN", -4));
}

}  // namespace
