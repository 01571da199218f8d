// SD card discovery over a simulated /proc/partitions. The table changes
// "during" the library's pauses: usleep is recorded and runs the change,
// so that nothing races a real sleep.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_sd.h"
#include "fake_sleep.hpp"
#include "log_lines.hpp"
#include "testbed.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;
namespace fake_sleep = testsupport::fake_sleep;

namespace {

const std::string kTable = "/proc/partitions";
const std::string kHead = "major minor  #blocks  name\n\n";
const std::string kDisk0 = " 179        0    7761920 mmcblk0\n";
const std::string kPart0 = " 179        1    7757824 mmcblk0p1\n";
const std::string kPart0b = " 179        2       1023 mmcblk0p2\n";
const std::string kDisk1 = " 179        8    3872256 mmcblk1\n";
const std::string kMtd = "  31        0       1024 mtdblock0\n  31        1       4096 mtdblock1\n";
const std::string kNoTable = "-";

class SdCard : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<testsupport::Testbed>();
        fake_sleep::reset();
        Zev_Comm_SetPrintLev(7);
    }
    void TearDown() override { fake_sleep::reset(); }
    void table(const std::string &text) {
        if (text == kNoTable) {
            // A folder in its place: it opens but reads as empty.
            bed_->remove(kTable);
            bed_->mkdir(kTable);
        } else {
            bed_->remove(kTable);
            bed_->write(kTable, text);
        }
    }
    std::unique_ptr<testsupport::Testbed> bed_;
};

TEST_F(SdCard, DevicePathFromOneOrTwoReads) {
    const struct {
        const char *name;
        std::string first;
        std::string during_pause;  // "" for no change
        int32_t result;
        std::string path;
        std::vector<unsigned> pauses;
    } cases[] = {
        {"partition at once", kHead + kMtd + kDisk0 + kPart0, "", 0, "/dev/mmcblk0p1", {}},
        {"first partition of two", kHead + kDisk0 + kPart0 + kPart0b, "", 0, "/dev/mmcblk0p1", {}},
        {"disk alone", kHead + kDisk0, "", 0, "/dev/mmcblk0", {200000}},
        {"partition comes during the pause", kHead + kDisk0, kHead + kDisk0 + kPart0, 0, "/dev/mmcblk0p1", {200000}},
        {"card leaves during the pause", kHead + kDisk0 + kMtd, kHead + kMtd, -1, "/dev/mmcblk0", {200000}},
        {"two unpartitioned cards", kHead + kDisk0 + kDisk1, "", 0, "/dev/mmcblk1", {200000}},
        {"no card", kHead + kMtd, "", -1, "", {}},
        {"no table", kNoTable, "", -1, "", {}},
        {"no line end", kHead + " 179 0 7761920 mmcblk0p1", "", 0, "/dev/mmcblk0p1", {}},
    };
    for (const auto &c : cases) {
        table(c.first);
        fake_sleep::reset();
        const std::string later = c.during_pause;
        fake_sleep::on_pause([&](size_t, unsigned) {
            if (!later.empty()) table(later);
        });
        char path[64] = {};
        int32_t r = 99;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_GetStorageDev(path); }));
        EXPECT_EQ(r, c.result) << c.name;
        EXPECT_EQ(std::string(path), c.path) << c.name;
        EXPECT_EQ(fake_sleep::pauses(), c.pauses) << c.name;
        // One DBG line per read that found a card.
        const size_t finds = c.path.empty() ? 0 : (c.pauses.empty() ? 1 : (c.result == 0 ? 2 : 1));
        ASSERT_EQ(lines.size(), finds) << c.name;
        if (finds > 0) {
            EXPECT_EQ(lines.back(), "DBG ZevCommGetStorageDev :SD Dev=" + c.path + "\r\n") << c.name;
        }
    }
}

TEST_F(SdCard, OnlyTheFirst1024BytesAreSeen) {
    std::string filler;
    while (filler.size() < 1010) filler += "  31        9       4096 mtdblock9\n";
    table(kHead + filler + kDisk0 + kPart0);
    char path[64] = {};
    capture_stdout([&] { EXPECT_EQ(Zev_Comm_GetStorageDev(path), -1); });
    EXPECT_STREQ(path, "");
}

TEST_F(SdCard, ALongNameIsCutToTheBuffer) {
    table(kHead + " 179 0 1 mmcblk" + std::string(100, '9') + "\n");
    char path[80];
    memset(path, '#', sizeof path);
    path[0] = '\0';
    capture_stdout([&] { EXPECT_EQ(Zev_Comm_GetStorageDev(path), 0); });
    EXPECT_EQ(strlen(path), 63u);
    EXPECT_EQ(path[64], '#') << "nothing written behind 64 bytes";
}

TEST_F(SdCard, DeviceNameWithItsRetry) {
    const struct {
        const char *name;
        std::string table;
        bool node;            // the node is there from the start
        bool node_in_retry;   // the node comes during the 100 ms pause
        int32_t result;
        std::string dev_name;
        std::vector<std::string> wars;
    } cases[] = {
        {"found", kHead + kDisk0 + kPart0, true, false, 0, "mmcblk0p1", {}},
        {"node comes late", kHead + kDisk0 + kPart0, false, true, 0, "mmcblk0p1",
         {"WAR Zev_Comm_GetStorageDevName :access /dev/mmcblk0p1 failed, retry\n"}},
        {"node never comes", kHead + " 179 0 1 mmcblk9\n 179 1 1 mmcblk9p7\n", false, false, -3, "",
         {"WAR Zev_Comm_GetStorageDevName :access /dev/mmcblk9p7 failed, retry\n",
          "WAR Zev_Comm_GetStorageDevName :access /dev/mmcblk9p7 failed, retry2\n"}},
        {"no card", kHead + kMtd, false, false, -2, "", {"WAR Zev_Comm_GetStorageDevName :get mmcblk failed\n"}},
    };
    for (const auto &c : cases) {
        table(c.table);
        bed_->remove("/dev/mmcblk0p1");
        if (c.node) {
            ASSERT_TRUE(bed_->write("/dev/mmcblk0p1", ""));
        }
        fake_sleep::reset();
        fake_sleep::on_pause([&](size_t, unsigned usec) {
            if (usec == 100000 && c.node_in_retry) bed_->write("/dev/mmcblk0p1", "");
        });
        char name[64];
        strcpy(name, "untouched");
        int32_t r = 99;
        const std::string out = capture_stdout([&] { r = Zev_Comm_GetStorageDevName(name); });
        EXPECT_EQ(r, c.result) << c.name;
        EXPECT_EQ(std::string(name), c.result == 0 ? c.dev_name : "untouched") << c.name;
        std::vector<std::string> wars;
        std::vector<std::string> infs;
        for (const std::string &l : summarise(out)) {
            if (l.rfind("WAR", 0) == 0) wars.push_back(l);
            if (l.rfind("INF", 0) == 0) infs.push_back(l);
        }
        EXPECT_EQ(wars, c.wars) << c.name;
        if (c.result == 0) {
            EXPECT_EQ(infs, std::vector<std::string>{"INF Zev_Comm_GetStorageDevName :devName=" + c.dev_name + " (/dev/" +
                                                     c.dev_name + ")\n"});
        } else {
            EXPECT_TRUE(infs.empty());
        }
    }
    EXPECT_EQ(Zev_Comm_GetStorageDevName(nullptr), -1);
}

TEST_F(SdCard, SizeFromTheBlocksColumn) {
    table(kHead + kMtd + kDisk0 + kPart0 + kPart0b);
    const struct {
        const char *name;
        int32_t kb;
        int32_t mb;
    } cases[] = {
        {"mmcblk0", 7761920, 7580},   // the whole disk comes first
        {"mmcblk0p1", 7757824, 7576},
        {"mmcblk0p2", 1023, 0},
        {"mtdblock1", 4096, 4},
        {"mmcblk0p", 7757824, 7576},  // the start of a name will do
        {"blk0p", 0, 0},              // the middle of one reads no number
        {"mmcblk5", 0, 0},
        {"major", 0, 0},              // at the very start of its line: no number
        {"name", 0, 0},               // two blanks in front: an empty number
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Zev_Comm_GetStorageSizeKB(c.name), c.kb) << c.name;
        EXPECT_EQ(Zev_Comm_GetStorageSizeMB(c.name), c.mb) << c.name;
    }
    table("7761920mmcblk0\n");  // no blank in front of the number
    EXPECT_EQ(Zev_Comm_GetStorageSizeKB("mmcblk0"), 776192);
    table(kNoTable);
    EXPECT_EQ(Zev_Comm_GetStorageSizeKB("mmcblk0"), 0);
}

}  // namespace
