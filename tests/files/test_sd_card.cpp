// SPDX-License-Identifier: MIT
// SD discovery over a simulated /proc/partitions, changed "during" the recorded
// usleep (racing nothing), and the FAT hidden bit answered on a mocked node.
#include <cstring>
#include <memory>
#include <tuple>

#include "comm_file.h"
#include "comm_sd.h"
#include "common.hpp"
#include "fake_sleep.hpp"
#include "ioctl_device.hpp"
#include "testbed.hpp"

namespace {

const std::string kHead = "major minor  #blocks  name\n\n", kDisk0 = " 179        0    7761920 mmcblk0\n";
const std::string kPart0 = " 179        1    7757824 mmcblk0p1\n",
                  kDisk1 = " 179        8    3872256 mmcblk1\n";
const std::string kMtd = "  31        0       1024 mtdblock0\n  31        1       4096 mtdblock1\n";

struct SdCard : ::testing::Test {
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<testsupport::Testbed>();
        Zev_Comm_SetPrintLev(7);
    }
    void TearDown() override { fake_sleep::on_pause = nullptr; }
    void table(const std::string &text) {  // "-": a folder in its place, which reads as empty
        bed_->remove("/proc/partitions");
        text == "-" ? bed_->mkdir("/proc/partitions") : bed_->write("/proc/partitions", text);
    }
    std::unique_ptr<testsupport::Testbed> bed_;
};

TEST_F(SdCard, DevicePathFromOneOrTwoReads) {
    // The table, the table during the pause ("": no change), result, path, reads (2: a pause of 200 ms,
    // then a second read), DBG lines (one per read that found a card; the last names the path).
    // clang-format off
    const std::tuple<std::string, std::string, int32_t, std::string, size_t, size_t> cases[] = {
        {kHead + kMtd + kDisk0 + kPart0 + " 179 2 1 mmcblk0p2\n", "", 0, "/dev/mmcblk0p1", 1, 1},  // the first
        {kHead + kDisk0, "", 0, "/dev/mmcblk0", 2, 2}, {kHead + kMtd, "", -1, "", 1, 0}, {"-", "", -1, "", 1, 0},
        {kHead + kDisk0, kHead + kDisk0 + kPart0, 0, "/dev/mmcblk0p1", 2, 2},  // comes during the pause
        {kHead + kDisk0 + kMtd, kHead + kMtd, -1, "/dev/mmcblk0", 2, 1},       // leaves during the pause
        {kHead + kDisk0 + kDisk1, "", 0, "/dev/mmcblk1", 2, 2},                // two unpartitioned cards
        {kHead + " 179 0 7761920 mmcblk0p1", "", 0, "/dev/mmcblk0p1", 1, 1},   // no line end
        {kHead + std::string(1020, ' ') + kDisk0 + kPart0, "", -1, "", 1, 0}};  // behind byte 1024
    // clang-format on
    for (const auto &[first, during_pause, result, want, reads, finds] : cases) {
        table(first);
        fake_sleep::pauses.clear();
        fake_sleep::on_pause = [&, &later = during_pause](size_t, unsigned) {
            if (!later.empty()) table(later);
        };
        char path[64] = {};
        const auto [r, lines] = logged([&] { return Zev_Comm_GetStorageDev(path); });
        SCOPED_TRACE(first + " / " + during_pause);
        EXPECT_EQ(std::make_pair(r, std::string(path)), std::make_pair(result, want));
        EXPECT_EQ(fake_sleep::pauses, std::vector<unsigned>(reads - 1, 200000));
        EXPECT_EQ(lines.size(), finds);
        EXPECT_EQ(lines.empty() ? "" : lines.back(),
                  finds ? "DBG ZevCommGetStorageDev :SD Dev=" + want + "\r\n" : "");
    }
    table(kHead + " 179 0 1 mmcblk" + std::string(100, '9') + "\n");
    char path[80];
    memset(path, '#', sizeof path);
    path[0] = '\0';
    (void)logged([&] { EXPECT_EQ(Zev_Comm_GetStorageDev(path), 0); });
    EXPECT_EQ(strlen(path), 63u) << "a long name is cut to the buffer";
    EXPECT_EQ(path[64], '#') << "nothing written behind 64 bytes";
}

// Waiting for a path: its tests, the pauses between them, a path that comes late.
TEST_F(SdCard, WaitForAPath) {
    testsupport::TempDir dir;
    const std::string target = dir / "mnt";
    // interval, time-out, the pause the path comes in (-1: never, -2: there at once), result, pauses
    // clang-format off
    const std::tuple<int32_t, int32_t, int, int32_t, std::vector<unsigned>> cases[] = {
        {300, 1000, 1, 1, {300000, 300000}}, {300, 1000, 2, 0, {300000, 300000, 300000}},  // the last is too late
        {500, 400, -2, 0, {}}, {0, 1000, -2, 1, {}}, {-5, 1000, -1, 0, {}},
        {2500, 5000, -1, 0, {1000000, 1000000, 500000, 1000000, 1000000, 500000}}};
    // clang-format on
    for (const auto &[interval, timeout, appears, result, pauses] : cases) {
        unlink(target.c_str());
        ASSERT_TRUE(appears != -2 || write_file(target, ""));
        fake_sleep::pauses.clear();
        fake_sleep::on_pause = [&, appears = appears](size_t index, unsigned) {
            if (static_cast<int>(index) == appears) write_file(target, "");
        };
        SCOPED_TRACE(testing::Message() << interval << " " << timeout);
        EXPECT_EQ(Zev_Comm_Waitfor_Folder(target.c_str(), interval, timeout), result);
        EXPECT_EQ(fake_sleep::pauses, pauses);
    }
}

auto kb_mb(const char *n) { return std::pair(Zev_Comm_GetStorageSizeKB(n), Zev_Comm_GetStorageSizeMB(n)); }

// The whole disk comes first; the start of a name will do; no number in
// front of a name's middle, a line's start ("major") or two blanks ("name").
TEST_F(SdCard, SizeFromTheBlocksColumn) {
    table(kHead + kMtd + kDisk0 + kPart0);
    // clang-format off
    const std::tuple<const char *, int32_t, int32_t> cases[] = {
        {"mmcblk0", 7761920, 7580}, {"mtdblock0", 1024, 1}, {"mmcblk0p", 7757824, 7576}, {"blk0p", 0, 0},
        {"mmcblk5", 0, 0}, {"major", 0, 0}, {"name", 0, 0}};
    // clang-format on
    for (const auto &[name, kb, mb] : cases) EXPECT_EQ(kb_mb(name), std::pair(kb, mb)) << name;
    table("1023mmcblk0\n");  // no blank in front of the number
    EXPECT_EQ(kb_mb("mmcblk0"), std::pair(102, 0));
    table("-");
    EXPECT_EQ(Zev_Comm_GetStorageSizeKB("mmcblk0"), 0);
}

// The attribute word goes out and back through the driver's two requests:
// only bit 0x02 changes, and a failed read writes nothing back.
TEST(FileHideOnANode, OnlyTheHiddenBitChanges) {
    REQUIRE_TESTBED();
    constexpr unsigned long kGet = 0x80047210UL, kSet = 0x40047211UL;
    testsupport::Testbed bed;
    testsupport::IoctlDevice node(bed.get(), "/dev/fatfile");
    ASSERT_TRUE(node.attached());
    // the attributes the driver holds, hide, the read fails, the requests
    const std::tuple<int32_t, int32_t, bool, std::vector<testsupport::IoctlCall>> cases[] = {
        {0x20, 1, false, {{kGet, 0}, {kSet, 0x22}}}, {0x21, 0, false, {{kGet, 0}, {kSet, 0x21}}},
        {0x33, 0, false, {{kGet, 0}, {kSet, 0x31}}}, {0x02, 5, false, {{kGet, 0}, {kSet, 0x02}}},
        {-1, 0, false, {{kGet, 0}, {kSet, -3}}},     {0x20, 1, true, {{kGet, 0}}}};
    for (const auto &[held, hide, get_fails, calls] : cases) {
        int32_t entry = held;
        node.answer([&, fails = get_fails](unsigned long request, int32_t word) {
            if (request == kSet) entry = word;
            if (request == kGet && fails) return testsupport::IoctlAnswer{-1, EINVAL, 0};
            return testsupport::IoctlAnswer{0, 0, request == kGet ? entry : word};
        });
        node.clear_calls();
        EXPECT_EQ(Zev_Comm_SetFileHide("/dev/fatfile", hide), 0);
        EXPECT_EQ(node.calls(), calls) << std::hex << held << " " << hide;
    }
}

}  // namespace
