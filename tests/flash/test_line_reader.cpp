// The line reader: end of input noticed one byte late, the 256-byte window,
// carriage returns kept, a failing stream ended.
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "comm_mtd.h"
#include "tempdir.hpp"

namespace {

using Lines = std::vector<std::optional<std::string>>;

// Every result of Zev_Comm_ReadLine on `content` up to and including the
// first null (bounded, so that a reader that never ends fails the test).
Lines read_all(const std::string &content) {
    FILE *f = tmpfile();
    EXPECT_NE(f, nullptr);
    fwrite(content.data(), 1, content.size(), f);
    rewind(f);
    Lines out;
    for (int i = 0; i < 16; ++i) {
        const char *line = Zev_Comm_ReadLine(f);
        if (line == nullptr) {
            out.emplace_back(std::nullopt);
            break;
        }
        out.emplace_back(std::string(line));
    }
    fclose(f);
    return out;
}

const std::nullopt_t kEnd = std::nullopt;

TEST(ReadLine, SplitsStreamsAsTheReaderDefinesThem) {
    const std::string c255(255, 'a');
    const std::string c256 = std::string(255, 'b') + "X";
    std::string c300;
    for (int i = 0; i < 300; ++i) c300 += static_cast<char>('0' + i % 10);
    const struct {
        const char *name;
        std::string input;
        Lines expected;
    } cases[] = {
        {"newline-ended", "abc\n", {"abc", "", kEnd}},
        {"no final newline", "abc", {"abc", kEnd}},
        {"empty input", "", {"", kEnd}},
        {"lone newline", "\n", {"", "", kEnd}},
        {"carriage return kept", "a\r\nb\n", {"a\r", "b", "", kEnd}},
        {"0xFF data is not the end", "\xff\xfe\n\xff", {"\xff\xfe", "\xff", kEnd}},
        {"255 characters fit", c255 + "\n", {c255, "", kEnd}},
        {"255 without newline", c255, {c255, kEnd}},
        // the 256th character is lost under the terminator
        {"256 characters", c256 + "\n", {std::string(255, 'b'), "", "", kEnd}},
        {"300 characters", c300 + "\n", {c300.substr(0, 255), c300.substr(256), "", kEnd}},
        {"300 without newline", c300, {c300.substr(0, 255), c300.substr(256), kEnd}},
        {"two lines", "mtd0: 1\nmtd1: 2", {"mtd0: 1", "mtd1: 2", kEnd}},
    };
    for (const auto &c : cases) EXPECT_EQ(read_all(c.input), c.expected) << c.name;
}

TEST(ReadLine, OneBufferForEveryStream) {
    FILE *a = tmpfile();
    FILE *b = tmpfile();
    ASSERT_TRUE(a && b);
    fputs("first\n", a);
    fputs("second\n", b);
    rewind(a);
    rewind(b);
    const char *la = Zev_Comm_ReadLine(a);
    ASSERT_NE(la, nullptr);
    EXPECT_STREQ(la, "first");
    const char *lb = Zev_Comm_ReadLine(b);
    EXPECT_EQ(la, lb);
    EXPECT_STREQ(la, "second");
    fclose(a);
    fclose(b);
}

TEST(ReadLine, NullAndFailingStreamsEnd) {
    EXPECT_EQ(Zev_Comm_ReadLine(nullptr), nullptr);
    // Reading a directory fails without reaching end of file.
    testsupport::TempDir dir;
    FILE *f = fopen(dir.path().c_str(), "r");
    ASSERT_NE(f, nullptr);
    const char *line = Zev_Comm_ReadLine(f);
    ASSERT_NE(line, nullptr);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(Zev_Comm_ReadLine(f), nullptr);
    EXPECT_EQ(Zev_Comm_ReadLine(f), nullptr);
    fclose(f);
}

}  // namespace
