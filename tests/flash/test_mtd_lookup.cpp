// Partition lookup over a simulated /proc/mtd: sizes, device paths, the
// quoted search key, the shared path buffer and the log lines.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_mtd.h"
#include "log_lines.hpp"
#include "testbed.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

const std::string kName61(61, 'N');
const std::string kName62(62, 'M');

const std::string kMtdList =
    "dev:    size   erasesize  name\n"
    "mtd0: 00040000 00010000 \"BOOT\"\n"
    "mtd1: 00008000 00001000 \"KEY_CUST1\"\n"
    "mtd2: 00008000 00001000 \"KEY_CUST\"\n"
    "mtd3: 00010000 00001000 \"SETTINGS\"\n"
    "mtd5: 00200000 00010000 \"KERNEL\"\n"
    "mtd6: zz 00001000 \"BADSIZE\"\n"
    "\"NOCOLON\" mtd8 00001000\n"
    "md: 00001000 00001000 \"SHORTCOLON\"\n"
    "mtd" + std::string(60, '7') + ": 00001000 00001000 \"LONGINDEX\"\n"
    "mtd10: 00002000 00001000 \"" + kName61 + "\"\n"
    "mtd11: 00002000 00001000 \"" + kName62 + "\"\n"
    "mtd12: 00001000 00001000 \"\"\n";

class MtdLookup : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<testsupport::Testbed>();
        ASSERT_TRUE(bed_->write("/proc/mtd", kMtdList));
        Zev_Comm_SetPrintLev(5);
    }
    std::unique_ptr<testsupport::Testbed> bed_;
};

TEST_F(MtdLookup, SizeAndPathOfEachPartition) {
    const struct {
        const char *name;
        uint32_t size;
        const char *path;  // null: not found
    } cases[] = {
        {"KEY_CUST", 0x8000, "/dev/mtdblock2"},  // not the KEY_CUST1 line before it
        {"KEY_CUST1", 0x8000, "/dev/mtdblock1"},
        {"SETTINGS", 0x10000, "/dev/mtdblock3"},
        {"KERNEL", 0x200000, "/dev/mtdblock5"},
        {"BADSIZE", 0, "/dev/mtdblock6"},
        {"NOCOLON", 0, nullptr},
        {"SHORTCOLON", 0, nullptr},
        {"LONGINDEX", 0x1000, nullptr},  // the path would not fit 64 bytes
        {kName61.c_str(), 0x2000, "/dev/mtdblock10"},
        {kName62.c_str(), 0, nullptr},  // too long for the search key
        {"KEY", 0, nullptr},
        {"CUST", 0, nullptr},
        {"key_cust", 0, nullptr},
        {"", 0x1000, "/dev/mtdblock12"},  // the key "" is in that line
        {nullptr, 0, nullptr},
    };
    for (const auto &c : cases) {
        const std::string label = c.name ? std::string(c.name).substr(0, 12) : "(null)";
        EXPECT_EQ(Zev_Comm_GetMtdPartSize(c.name), c.size) << label;
        const char *path = Zev_Comm_GetMtdPath(c.name);
        if (c.path == nullptr) {
            EXPECT_EQ(path, nullptr) << label;
        } else {
            ASSERT_NE(path, nullptr) << label;
            EXPECT_STREQ(path, c.path) << label;
        }
    }
}

TEST_F(MtdLookup, FoundLinesAreLoggedAtDebug) {
    uint32_t size = 0;
    auto lines = summarise(capture_stdout([&] { size = Zev_Comm_GetMtdPartSize("KEY_CUST"); }));
    EXPECT_EQ(size, 0x8000u);
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "DBG Zev_Comm_GetMtdPartSize :mtd2: 00008000 00001000 \"KEY_CUST\"\n",
                         "DBG Zev_Comm_GetMtdPartSize :part2:size = 32768 (0x8000)\n"}));
    lines = summarise(capture_stdout([] { Zev_Comm_GetMtdPath("KERNEL"); }));
    EXPECT_EQ(lines, std::vector<std::string>{"DBG Zev_Comm_GetMtdPath :\"KERNEL\" strPath = /dev/mtdblock5\n"});
    lines = summarise(capture_stdout([] { Zev_Comm_GetMtdPartSize("BADSIZE"); }));
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "DBG Zev_Comm_GetMtdPartSize :mtd6: zz 00001000 \"BADSIZE\"\n",
                         "DBG Zev_Comm_GetMtdPartSize :part6:size = 0 (0x0)\n"}));
    Zev_Comm_SetPrintLev(3);
    EXPECT_EQ(capture_stdout([] { Zev_Comm_GetMtdPartSize("KEY_CUST"); }), "");
}

TEST_F(MtdLookup, FailuresAreSilentAndKeepThePathBuffer) {
    char *first = Zev_Comm_GetMtdPath("KEY_CUST");
    ASSERT_NE(first, nullptr);
    const char *failing[] = {"MISSING", "NOCOLON", "LONGINDEX", kName62.c_str(), nullptr};
    for (const char *name : failing) {
        const std::string out = capture_stdout([&] { EXPECT_EQ(Zev_Comm_GetMtdPath(name), nullptr); });
        EXPECT_STREQ(first, "/dev/mtdblock2");
        if (name == nullptr || std::string(name) == "MISSING") {
            EXPECT_EQ(out, "");
        }
    }
    // Both lookups hand out the one buffer.
    char *second = Zev_Comm_GetMtdPath("SETTINGS");
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "/dev/mtdblock3");

    ASSERT_TRUE(bed_->remove("/proc/mtd"));
    const std::string out = capture_stdout([] {
        EXPECT_EQ(Zev_Comm_GetMtdPartSize("KEY_CUST"), 0u);
        EXPECT_EQ(Zev_Comm_GetMtdPath("KEY_CUST"), nullptr);
    });
    EXPECT_EQ(out, "");
    EXPECT_STREQ(first, "/dev/mtdblock3");
}

TEST(MtdEraseSize, AlwaysFourKiB) {
    const char *names[] = {nullptr, "", "KEY_CUST", "not listed anywhere"};
    for (const char *name : names) EXPECT_EQ(Zev_Comm_GetMtdEraseSize(name), 4096u);
}

}  // namespace
