// The identity record before Zev_SnManager_Start: reads see a zero image,
// writes and erases are refused, and nothing reaches the settings library.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_sn.h"
#include "log_lines.hpp"
#include "settings_fake.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

using Lines = std::vector<std::string>;

TEST(SnBeforeStart, ReadsSeeAZeroImage) {
    Zev_Comm_SetPrintLev(3);
    const struct {
        uint32_t type;
        int result;
        unsigned char byte;  // what DataOut holds afterwards
    } cases[] = {
        {0x01, -1, 0xEE}, {0x02, -2, 0xEE}, {0x04, -2, 0xEE}, {0x40, -3, 0xEE},
        {0x08, 0, 0x00},  {0x10, 0, 0x00},  {0x20, -3, 0xEE}, {0x00, 0, 0xEE},
    };
    for (const auto &c : cases) {
        unsigned char out[8];
        memset(out, 0xEE, sizeof out);
        EXPECT_EQ(Zev_SnManager_GetData(c.type, out, sizeof out), c.result) << c.type;
        for (unsigned char b : out) EXPECT_EQ(b, c.byte) << c.type;
    }
}

TEST(SnBeforeStart, WritesAndErasesAreRefused) {
    testsupport::settings_fake::reset();
    Zev_Comm_SetPrintLev(5);
    const char value[] = "SN1";
    int r = 0;
    Lines lines = summarise(capture_stdout([&] { r = Zev_SnManager_Update(0x01, value, 3); }));
    EXPECT_EQ(r, -10);
    EXPECT_EQ(lines, Lines{"ERR Zev_SnManager_Update :Err ret=-10\n"});
    // Not started comes before the value's test.
    const unsigned char zeros[3] = {0, 0, 0};
    EXPECT_EQ(Zev_SnManager_Update(0x01, zeros, 3), -10);
    lines = summarise(capture_stdout([&] { r = Zev_SnManager_Update(0x20, nullptr, 0); }));
    EXPECT_EQ(r, -10);
    EXPECT_EQ(lines, (Lines{"WAR Zev_SnManager_Update :DataIn=0x0, size=0, erase type:32\n",
                            "ERR Zev_SnManager_Update :Err ret=-10\n"}));
    EXPECT_TRUE(testsupport::settings_fake::calls().empty());
}

}  // namespace
