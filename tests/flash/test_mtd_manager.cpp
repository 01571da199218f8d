// The partition manager on a simulated flash: the map's keys and positions,
// every error code in its order, the INF and ERR lines, the unsigned bound.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_mtdmgr.h"
#include "flash_bed.hpp"
#include "log_lines.hpp"

using testsupport::Bytes;
using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

using Lines = std::vector<std::string>;

class MtdManager : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<testsupport::FlashBed>();
        Zev_Comm_SetPrintLev(3);
    }
    // Runs fn with stdout captured; returns the "TAG func :msg" lines.
    template <typename Fn>
    Lines logged(Fn fn) {
        return summarise(capture_stdout(fn));
    }
    std::unique_ptr<testsupport::FlashBed> flash_;
};

std::string inf(const char *api, const char *part, int size, const char *key, int base, int len) {
    char text[200];
    snprintf(text, sizeof text, "INF %s :%s size:%d, %s offset:%d, len=%d\n", api, part, size, key, base,
             len);
    return text;
}

std::string err(const char *api, const char *key, int code) {
    return std::string("ERR ") + api + " :[" + key + "] ret = " + std::to_string(code) + "\n";
}

TEST_F(MtdManager, EveryKeyWritesAtItsPosition) {
    const struct {
        const char *key;
        int index;
        const char *part;
        int size;
        uint32_t base;
    } rows[] = {
        {"MTD_PART_UI", 2, "KEY_CUST", 0x8000, 0x0000},
        {"MTD_PART_UI_BACKUP", 1, "KEY_CUST1", 0x8000, 0x0000},
        {"MTD_PART_SETTINGS", 3, "SETTINGS", 0x10000, 0x2000},
        {"MTD_PART_SETTINGS_BACKUP", 2, "KEY_CUST", 0x8000, 0x2000},
        {"MTD_PART_FACTORY", 2, "KEY_CUST", 0x8000, 0x4000},
        {"MTD_PART_SN", 2, "KEY_CUST", 0x8000, 0x6000},
        {"MTD_PART_SN_BACKUP", 1, "KEY_CUST1", 0x8000, 0x6000},
    };
    const Bytes data = {0x10, 0x20, 0x30, 0x40, 0x50};
    for (const auto &r : rows) {
        flash_->fill(1, 0xFF);
        flash_->fill(2, 0xFF);
        flash_->fill(3, 0xFF);
        int n = 0;
        EXPECT_EQ(logged([&] { n = Zev_MtdMgr_Write(r.key, 0x10, data.data(), 5, 1); }),
                  Lines{inf("Zev_MtdMgr_Write", r.part, r.size, r.key, static_cast<int>(r.base), 5)})
            << r.key;
        EXPECT_EQ(n, 5) << r.key;
        EXPECT_EQ(flash_->bytes(r.index, r.base + 0x10, 5), data) << r.key;
        EXPECT_EQ(flash_->bytes(r.index, r.base + 0x0F, 1), Bytes{0xFF}) << r.key;
        EXPECT_EQ(flash_->bytes(r.index, r.base + 0x15, 1), Bytes{0xFF}) << r.key;
        unsigned char back[5] = {};
        EXPECT_EQ(logged([&] { n = Zev_MtdMgr_Read(r.key, 0x10, back, 5); }),
                  Lines{inf("Zev_MtdMgr_Read", r.part, r.size, r.key, static_cast<int>(r.base), 5)})
            << r.key;
        EXPECT_EQ(n, 5) << r.key;
        EXPECT_EQ(Bytes(back, back + 5), data) << r.key;
        EXPECT_EQ(testsupport::open_on_image(*flash_, r.index), 0) << r.key;
    }
}

TEST_F(MtdManager, KeyFailuresComeBeforeAnyDevice) {
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
                  Lines{err("Zev_MtdMgr_Read", c.shown, c.code)})
            << c.shown;
        EXPECT_EQ(r, c.code) << c.shown;
        EXPECT_EQ(logged([&] { r = Zev_MtdMgr_Write(c.key, 0, buf, 4, 1); }),
                  Lines{err("Zev_MtdMgr_Write", c.shown, c.code)})
            << c.shown;
        EXPECT_EQ(r, c.code) << c.shown;
    }
}

TEST_F(MtdManager, TheBoundIsThePartitionsEnd) {
    const uint32_t kBig = 0x3000;
    std::vector<unsigned char> buf(kBig, 0xEE);
    const struct {
        const char *key;
        uint32_t offset;
        uint32_t len;
        int result;
    } cases[] = {
        {"MTD_PART_SN", 0x1000, 0x1000, 0x1000},  // ends exactly at 0x8000
        {"MTD_PART_SN", 0x1000, 0x1001, -33},
        {"MTD_PART_SN", 0x2000, 0, 0},  // nothing moved, right at the end
        {"MTD_PART_SN", 0x2001, 0, -33},
        {"MTD_PART_SN", 0x1FFF, 1, 1},
        {"MTD_PART_UI", 0, 0x2001, 0x2001},  // runs on into the next region
        {"MTD_PART_UI", 0, 0x8001, -33},     // refused before the buffer is touched
        {"MTD_PART_SN", 0, 0, 0},
        {"MTD_PART_SN", 0xFFFFA000u, 0x10, -33},  // would wrap round to 0 in 32 bits
        {"MTD_PART_SN", 0x10, 0xFFFFFFF0u, -33},
        {"MTD_PART_SETTINGS", 0xE000, 0, 0},
        {"MTD_PART_SETTINGS", 0xE000, 1, -33},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(c.result <= 0 || c.len <= kBig);
        int r = 0;
        const Lines lines = logged([&] { r = Zev_MtdMgr_Read(c.key, c.offset, buf.data(), c.len); });
        EXPECT_EQ(r, c.result) << c.key << " " << c.offset << " " << c.len;
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.size(), c.result < 0 ? 2u : 1u);
        if (c.result < 0) {
            EXPECT_EQ(lines.back(), err("Zev_MtdMgr_Read", c.key, c.result));
        }
    }
    const Bytes before = flash_->image(2);
    EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN", 0x1000, buf.data(), 0x1001, 1), -33);
    EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN", 0xFFFFA000u, buf.data(), 0x10, 1), -33);
    EXPECT_EQ(flash_->image(2), before);
}

TEST_F(MtdManager, MissingPartitionsAndDevices) {
    // KEY_CUST1 not listed: the backup copy fails, the first still works.
    flash_->set_mtd_list(
        "mtd2: 00008000 00001000 \"KEY_CUST\"\n"
        "mtd3: 00010000 00001000 \"SETTINGS\"\n"
        "mtd" +
        std::string(60, '0') + "4: 00008000 00001000 \"KEY_CUST1\"\n");
    char buf[4] = {};
    Lines lines = logged([&] { EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN_BACKUP", 0, buf, 4), -34); });
    EXPECT_EQ(lines.back(), err("Zev_MtdMgr_Read", "MTD_PART_SN_BACKUP", -34));
    flash_->set_mtd_list("mtd2: 00008000 00001000 \"KEY_CUST\"\n");
    lines = logged([&] { EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN_BACKUP", 0, buf, 4), -32); });
    EXPECT_EQ(lines, Lines{err("Zev_MtdMgr_Read", "MTD_PART_SN_BACKUP", -32)});
    EXPECT_EQ(Zev_MtdMgr_Read("MTD_PART_SN", 0, buf, 4), 4);

    // Listed, but its device node is gone.
    flash_->remove_device(2);
    lines = logged([&] { EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN", 0, buf, 4, 1), -4); });
    EXPECT_EQ(lines.back(), err("Zev_MtdMgr_Write", "MTD_PART_SN", -4));
}

TEST_F(MtdManager, SyncFlagChangesNothingVisible) {
    const Bytes data = {1, 2, 3};
    for (int sync : {0, 1, 7}) {
        flash_->fill(1, 0xFF);
        EXPECT_EQ(Zev_MtdMgr_Write("MTD_PART_SN_BACKUP", 0x20, data.data(), 3, sync), 3) << sync;
        EXPECT_EQ(flash_->bytes(1, 0x6020, 3), data) << sync;
    }
}

TEST_F(MtdManager, ShortReadAtTheDevicesEnd) {
    // /proc/mtd claims more than the device holds: the bound passes, the
    // read comes up short and keeps what arrived.
    flash_->set_mtd_list("mtd2: 00010000 00001000 \"KEY_CUST\"\n");
    flash_->put(2, 0x7FFE, Bytes{0xAA, 0xBB});
    unsigned char buf[4] = {0, 0, 0, 0};
    int r = 0;
    const Lines lines = logged([&] { r = Zev_MtdMgr_Read("MTD_PART_SN", 0x1FFE, buf, 4); });
    EXPECT_EQ(r, -6);
    EXPECT_EQ(lines.back(), err("Zev_MtdMgr_Read", "MTD_PART_SN", -6));
    EXPECT_EQ(Bytes(buf, buf + 4), (Bytes{0xAA, 0xBB, 0, 0}));
    EXPECT_EQ(testsupport::open_on_image(*flash_, 2), 0);
}

}  // namespace
