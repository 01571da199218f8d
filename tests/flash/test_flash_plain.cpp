// SPDX-License-Identifier: MIT
// What needs no simulated flash: the line reader and the identity record
// before Zev_SnManager_Start.
#include <gtest/gtest.h>

#include <optional>

#include "comm_log.h"
#include "comm_mtd.h"
#include "comm_sn.h"
#include "log_lines.hpp"
#include "settings_fake.hpp"
#include "tempdir.hpp"

using namespace testsupport;

namespace {

using Read = std::vector<std::optional<std::string>>;
const std::nullopt_t kEnd = std::nullopt;

// Every result of Zev_Comm_ReadLine on `f` up to the first null (bounded, so
// that a reader that never ends fails the test).
Read read_all(FILE *f) {
    Read out;
    for (const char *line = ""; line != nullptr && out.size() < 16;) {
        line = Zev_Comm_ReadLine(f);
        out.emplace_back(line ? std::optional<std::string>(line) : kEnd);
    }
    return out;
}

TEST(ReadLine, SplitsStreams) {
    const std::string c255(255, 'a'), c256 = std::string(255, 'b') + "X";
    std::string c300;
    for (int i = 0; i < 300; ++i) c300 += static_cast<char>('0' + i % 10);
    // clang-format off
    const struct { std::string input; Read expected; } cases[] = {
        {"abc\n", {"abc", "", kEnd}},   {"abc", {"abc", kEnd}},   {"", {"", kEnd}},   {"\n", {"", "", kEnd}},
        {"a\r\nb\n", {"a\r", "b", "", kEnd}},  {"\xff\xfe\n\xff", {"\xff\xfe", "\xff", kEnd}},  // 0xFF data is not the end
        {c255 + "\n", {c255, "", kEnd}},  {c256 + "\n", {std::string(255, 'b'), "", "", kEnd}},  // the 256th is lost
        {c300 + "\n", {c300.substr(0, 255), c300.substr(256), "", kEnd}},  {c300, {c300.substr(0, 255), c300.substr(256), kEnd}},
    };
    // clang-format on
    for (const auto &c : cases) {
        FILE *f = tmpfile();
        fwrite(c.input.data(), 1, c.input.size(), f);
        rewind(f);
        EXPECT_EQ(read_all(f), c.expected) << c.input.substr(0, 20);
        fclose(f);
    }
}

TEST(ReadLine, OneBufferAndFailingStreams) {
    FILE *a = tmpfile(), *b = tmpfile();
    fputs("first\n", a), fputs("second\n", b), rewind(a), rewind(b);
    const char *la = Zev_Comm_ReadLine(a);
    EXPECT_STREQ(la, "first");
    EXPECT_EQ(Zev_Comm_ReadLine(b), la);
    EXPECT_STREQ(la, "second");
    fclose(a), fclose(b);
    EXPECT_EQ(Zev_Comm_ReadLine(nullptr), nullptr);
    // Reading a directory fails without reaching end of file.
    TempDir dir;
    FILE *f = fopen(dir.path().c_str(), "r");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(read_all(f), (Read{"", kEnd}));
    EXPECT_EQ(Zev_Comm_ReadLine(f), nullptr);
    fclose(f);
}

TEST(SnBeforeStart, ReadsSeeAZeroImageAndWritesAreRefused) {
    Zev_Comm_SetPrintLev(5);
    // clang-format off
    const struct { uint32_t type; int result; unsigned char byte; /* in DataOut afterwards */ } reads[] = {
        {0x01, -1, 0xEE}, {0x02, -2, 0xEE}, {0x04, -2, 0xEE}, {0x40, -3, 0xEE},
        {0x08, 0, 0x00},  {0x10, 0, 0x00},  {0x20, -3, 0xEE}, {0x00, 0, 0xEE}};
    // clang-format on
    for (const auto &c : reads) {
        std::string out(8, '\xEE');
        capture_stdout([&] { EXPECT_EQ(Zev_SnManager_GetData(c.type, out.data(), 8), c.result) << c.type; });
        EXPECT_EQ(out, std::string(8, static_cast<char>(c.byte))) << c.type;
    }
    // Not started comes before the value's test; nothing reaches the settings library.
    settings_fake::reset();
    const std::string refused = "ERR Zev_SnManager_Update :Err ret=-10\n";
    EXPECT_EQ(logged([] { return Zev_SnManager_Update(0x01, "SN1", 3); }), std::pair(-10, Lines{refused}));
    EXPECT_EQ(logged([] { return Zev_SnManager_Update(0x01, "\0\0\0", 3); }), std::pair(-10, Lines{refused}));
    EXPECT_EQ(
        logged([] { return Zev_SnManager_Update(0x20, nullptr, 0); }),
        std::pair(-10, Lines{"WAR Zev_SnManager_Update :DataIn=0x0, size=0, erase type:32\n", refused}));
    EXPECT_TRUE(settings_fake::calls().empty());
}

}  // namespace
