// Partition lookup, raw block access and the partition manager on a
// simulated flash: sizes and device paths, the quoted search key, bytes
// moved, every error code with its line, bounds, descriptors closed.
#include <gtest/gtest.h>

#include <functional>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_mtd.h"
#include "comm_mtdmgr.h"
#include "flash_bed.hpp"
#include "log_lines.hpp"

using namespace testsupport;

namespace {

using Lines = std::vector<std::string>;

class Mtd : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<FlashBed>();
        Zev_Comm_SetPrintLev(5);
    }
    template <typename Fn>
    static Lines logged(Fn fn) {
        return summarise(capture_stdout(fn));
    }
    std::unique_ptr<FlashBed> flash_;
};

TEST_F(Mtd, LookupOfSizeAndPath) {
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
        std::string(280, ' ') + "tail\nmtd14: 00004000 00001000 " + std::string(260, '-') + " \"LATEKEY\"\n");
    const struct {
        const char *name;
        uint32_t size;
        const char *path;  // null: not found
    } cases[] = {
        {"KEY_CUST", 0x8000, "/dev/mtdblock2"},  // not the KEY_CUST1 line before it
        {"KEY_CUST1", 0x8000, "/dev/mtdblock1"},
        {"KERNEL", 0x200000, "/dev/mtdblock5"},
        {"BADSIZE", 0, "/dev/mtdblock6"},
        {"NOCOLON", 0, nullptr},
        {"SHORTCOLON", 0, nullptr},
        {"LONGINDEX", 0x1000, nullptr},  // the path would not fit 64 bytes
        {name61.c_str(), 0x2000, "/dev/mtdblock10"},
        {name62.c_str(), 0, nullptr},  // too long for the search key
        {"KEY", 0, nullptr},
        {"key_cust", 0, nullptr},
        {"", 0x1000, "/dev/mtdblock12"},  // the key "" is in that line
        {"LONGLINE", 0x3000, "/dev/mtdblock13"},
        {"LATEKEY", 0, nullptr},  // its key lands in a piece without "mtd" and colon
        {nullptr, 0, nullptr},
    };
    for (const auto &c : cases) {
        const std::string label = c.name ? std::string(c.name).substr(0, 12) : "(null)";
        EXPECT_EQ(Zev_Comm_GetMtdPartSize(c.name), c.size) << label;
        capture_stdout([&] { EXPECT_STREQ(Zev_Comm_GetMtdPath(c.name), c.path) << label; });
    }
    // Found lines are logged at debug.
    EXPECT_EQ(logged([] { Zev_Comm_GetMtdPartSize("BADSIZE"); }),
              (Lines{"DBG Zev_Comm_GetMtdPartSize :mtd6: zz 00001000 \"BADSIZE\"\n",
                     "DBG Zev_Comm_GetMtdPartSize :part6:size = 0 (0x0)\n"}));
    EXPECT_EQ(logged([] { Zev_Comm_GetMtdPath("KERNEL"); }),
              Lines{"DBG Zev_Comm_GetMtdPath :\"KERNEL\" strPath = /dev/mtdblock5\n"});
    // Both lookups hand out one buffer, which failures leave alone.
    char *path = Zev_Comm_GetMtdPath("KEY_CUST");
    for (const char *name : {"MISSING", "NOCOLON", "LONGINDEX", name62.c_str(), (const char *)nullptr}) {
        const std::string out = capture_stdout([&] { EXPECT_EQ(Zev_Comm_GetMtdPath(name), nullptr); });
        EXPECT_STREQ(path, "/dev/mtdblock2");
        EXPECT_TRUE(out.empty() || (name != nullptr && std::string(name) != "MISSING")) << out;
    }
    EXPECT_EQ(Zev_Comm_GetMtdPath("SETTINGS"), path);
    EXPECT_STREQ(path, "/dev/mtdblock3");
    ASSERT_TRUE(flash_->bed().remove("/proc/mtd"));
    EXPECT_EQ(capture_stdout([] {
                  EXPECT_EQ(Zev_Comm_GetMtdPartSize("KEY_CUST"), 0u);
                  EXPECT_EQ(Zev_Comm_GetMtdPath("KEY_CUST"), nullptr);
                  Zev_Comm_SetPrintLev(3);
                  EXPECT_EQ(Zev_Comm_GetMtdPartSize("KEY_CUST"), 0u);
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
    // Written by index or path, read back through the other form.
    const struct {
        int index;
        int32_t offset;
        bool by_path;
    } rows[] = {{2, 0x100, true}, {1, 0x7FF0, false}, {5, 0, true}, {5, 0xFFD, false}};
    for (const auto &r : rows) {
        const std::string dev = "/dev/mtdblock" + std::to_string(r.index);
        Bytes want = flash_->image(r.index);
        memcpy(&want[r.offset], "abc", 3);
        char back[3] = {};
        EXPECT_EQ(capture_stdout([&] {
                      EXPECT_EQ(r.by_path ? Zev_Comm_MtdBlockWrite_ByPath(dev.c_str(), r.offset, "abc", 3)
                                          : Zev_Comm_MtdBlockWrite(r.index, r.offset, "abc", 3),
                                0);
                      EXPECT_EQ(r.by_path ? Zev_Comm_MtdBlocRead(r.index, r.offset, back, 3)
                                          : Zev_Comm_MtdBlocRead_ByPath(dev.c_str(), r.offset, back, 3),
                                0);
                  }),
                  "")
            << dev;
        EXPECT_EQ(flash_->image(r.index), want) << dev;
        EXPECT_EQ(std::string(back, 3), "abc") << dev;
        EXPECT_EQ(flash_->open_on_image(r.index), 0) << dev;
    }
    // Length 0 moves nothing.
    const Bytes before = flash_->image(2);
    char buf[4] = {'q'};
    EXPECT_EQ(Zev_Comm_MtdBlockWrite(2, 0x10, "abc", 0), 0);
    EXPECT_EQ(Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", 0x10, "abc", 0), 0);
    EXPECT_EQ(Zev_Comm_MtdBlocRead(2, 0x10, buf, 0), 0);
    EXPECT_EQ(Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock2", 0x10, buf, 0), 0);
    EXPECT_EQ(buf[0], 'q');
    EXPECT_EQ(flash_->image(2), before);
    // A short read keeps what arrived.
    memset(buf, 0xEE, 4);
    capture_stdout([&] { EXPECT_EQ(Zev_Comm_MtdBlocRead(5, 0xFFE, buf, 4), -6); });
    EXPECT_EQ(Bytes(buf, buf + 4), (Bytes{'b', 'c', 0xEE, 0xEE}));
}

TEST_F(Mtd, RawBlockFailures) {
    flash_->add_device(5, 0x1000);
    const std::string long_path = "/dev/mtdblock2" + std::string(20, '/');  // 34 characters
    const std::string cut = long_path.substr(0, 31);
    char buf[8];
    const struct {
        std::function<int()> call;
        int code;
        std::string line;  // at print level 6
    } cases[] = {
        {[] { return Zev_Comm_MtdBlockWrite(9, 16, "abc", 3); }, -4,
         "WAR Zev_Comm_MtdBlockWrite :[/dev/mtdblock9] iRetLen:0,offset:16 len:3, ret = -4\n"},
        {[] { return Zev_Comm_MtdBlockWrite(2, -1, "abc", 3); }, -5,
         "WAR Zev_Comm_MtdBlockWrite :[/dev/mtdblock2] iRetLen:0,offset:-1 len:3, ret = -5\n"},
        {[] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/nothing", 0, "abc", 3); }, -4,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[/dev/nothing] offset:0 len:3, ret = -4\n"},
        {[] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", -4096, "abc", 3); }, -5,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[/dev/mtdblock2] offset:-4096 len:3, ret = -5\n"},
        {[] { return Zev_Comm_MtdBlockWrite_ByPath("/dev/mtdblock2", 0, "abc", -1); }, -6,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[/dev/mtdblock2] offset:0 len:-1, ret = -6\n"},
        {[&] { return Zev_Comm_MtdBlockWrite_ByPath(long_path.c_str(), 0, "abc", 3); }, -4,
         "WAR Zev_Comm_MtdBlockWrite_ByPath :[" + cut + "] offset:0 len:3, ret = -4\n"},
        {[&] { return Zev_Comm_MtdBlocRead(9, 0, buf, 3); }, -4,
         "VER Zev_Comm_MtdBlocRead :[/dev/mtdblock9] ret = -4\n"},
        {[&] { return Zev_Comm_MtdBlocRead(5, 0xFFE, buf, 4); }, -6,
         "VER Zev_Comm_MtdBlocRead :[/dev/mtdblock5] ret = -6\n"},
        {[&] { return Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock5", -1, buf, 4); }, -5,
         "VER Zev_Comm_MtdBlocRead_ByPath :[/dev/mtdblock5] ret = -5\n"},
        {[&] { return Zev_Comm_MtdBlocRead_ByPath("/dev/mtdblock5", 0, buf, -8); }, -6,
         "VER Zev_Comm_MtdBlocRead_ByPath :[/dev/mtdblock5] ret = -6\n"},
        {[&] { return Zev_Comm_MtdBlocRead_ByPath(long_path.c_str(), 0, buf, 3); }, -4,
         "VER Zev_Comm_MtdBlocRead_ByPath :[" + cut + "] ret = -4\n"},
    };
    const Bytes image2 = flash_->image(2), image5 = flash_->image(5);
    for (int level : {6, 5}) {
        Zev_Comm_SetPrintLev(level);
        for (const auto &c : cases) {
            int r = 0;
            const bool shown = c.line[0] == 'W' || level == 6;
            EXPECT_EQ(logged([&] { r = c.call(); }), shown ? Lines{c.line} : Lines{}) << c.line << level;
            EXPECT_EQ(r, c.code) << c.line;
            EXPECT_EQ(flash_->open_on_image(2) + flash_->open_on_image(5), 0) << c.line;
        }
    }
    EXPECT_EQ(flash_->image(2), image2);
    EXPECT_EQ(flash_->image(5), image5);
}

std::string err(const char *api, const char *key, int code) {
    return std::string("ERR ") + api + " :[" + key + "] ret = " + std::to_string(code) + "\n";
}

TEST_F(Mtd, ManagerMapsEveryKey) {
    Zev_Comm_SetPrintLev(3);
    const struct {
        const char *key;
        int index;
        const char *part;
        int size;
        uint32_t base;
        int sync;  // has no visible effect
    } rows[] = {
        {"MTD_PART_UI", 2, "KEY_CUST", 0x8000, 0x0000, 1},
        {"MTD_PART_UI_BACKUP", 1, "KEY_CUST1", 0x8000, 0x0000, 0},
        {"MTD_PART_SETTINGS", 3, "SETTINGS", 0x10000, 0x2000, 7},
        {"MTD_PART_SETTINGS_BACKUP", 2, "KEY_CUST", 0x8000, 0x2000, 1},
        {"MTD_PART_FACTORY", 2, "KEY_CUST", 0x8000, 0x4000, 1},
        {"MTD_PART_SN", 2, "KEY_CUST", 0x8000, 0x6000, 1},
        {"MTD_PART_SN_BACKUP", 1, "KEY_CUST1", 0x8000, 0x6000, 0},
    };
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
        int n = 0;
        EXPECT_EQ(logged([&] { n = Zev_MtdMgr_Write(r.key, 0x10, data.data(), 5, r.sync); }),
                  inf("Zev_MtdMgr_Write"));
        EXPECT_EQ(n, 5) << r.key;
        EXPECT_EQ(flash_->image(r.index), want) << r.key;
        unsigned char back[5] = {};
        EXPECT_EQ(logged([&] { n = Zev_MtdMgr_Read(r.key, 0x10, back, 5); }), inf("Zev_MtdMgr_Read"));
        EXPECT_EQ(n, 5) << r.key;
        EXPECT_EQ(Bytes(back, back + 5), data) << r.key;
        EXPECT_EQ(flash_->open_on_image(r.index), 0) << r.key;
    }
}

TEST_F(Mtd, ManagerKeyFailuresComeBeforeAnyDevice) {
    Zev_Comm_SetPrintLev(3);
    flash_->set_mtd_list("");  // a device lookup would fail with -32
    const struct {
        const char *key;
        int code;
        const char *shown;
    } cases[] = {
        {nullptr, -1, "UNK"},
        {"MTD_PART_NOPE", -2, "MTD_PART_NOPE"},
        {"", -2, ""},
        {"mtd_part_sn", -2, "mtd_part_sn"},
        {"MTD_PART_SN ", -2, "MTD_PART_SN "},
        {"MTD_PART_END", -3, "MTD_PART_END"},
        {"MTD_PART_SN", -32, "MTD_PART_SN"},
    };
    char buf[4] = {};
    for (const auto &c : cases) {
        int r = 0;
        EXPECT_EQ(logged([&] { r = Zev_MtdMgr_Read(c.key, 0, buf, 4); }),
                  Lines{err("Zev_MtdMgr_Read", c.shown, c.code)});
        EXPECT_EQ(r, c.code) << c.shown;
        EXPECT_EQ(logged([&] { r = Zev_MtdMgr_Write(c.key, 0, buf, 4, 1); }),
                  Lines{err("Zev_MtdMgr_Write", c.shown, c.code)});
        EXPECT_EQ(r, c.code) << c.shown;
    }
}

TEST_F(Mtd, ManagerBoundIsThePartitionsEnd) {
    Zev_Comm_SetPrintLev(3);
    std::vector<unsigned char> buf(0x3000, 0xEE);
    const struct {
        const char *key;
        uint32_t offset, len;
        int result;
    } cases[] = {
        {"MTD_PART_SN", 0x1000, 0x1000, 0x1000},  // ends exactly at 0x8000
        {"MTD_PART_SN", 0x1000, 0x1001, -33},
        {"MTD_PART_SN", 0x2000, 0, 0},  // nothing moved, right at the end
        {"MTD_PART_SN", 0x2001, 0, -33},
        {"MTD_PART_SN", 0x1FFF, 1, 1},
        {"MTD_PART_UI", 0, 0x2001, 0x2001},       // runs on into the next region
        {"MTD_PART_UI", 0, 0x8001, -33},          // refused before the buffer is touched
        {"MTD_PART_SN", 0xFFFFA000u, 0x10, -33},  // would wrap round to 0 in 32 bits
        {"MTD_PART_SN", 0x10, 0xFFFFFFF0u, -33},
        {"MTD_PART_SETTINGS", 0xE000, 0, 0},
        {"MTD_PART_SETTINGS", 0xE000, 1, -33},
    };
    for (const auto &c : cases) {
        int r = 0;
        const Lines lines = logged([&] { r = Zev_MtdMgr_Read(c.key, c.offset, buf.data(), c.len); });
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
