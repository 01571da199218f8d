// SPDX-License-Identifier: MIT
// Key=value texts: the backslash-ended parameter text with its failure
// numbers, the 511-byte window of the file readers, and line values.

#include <cstring>
#include <tuple>

#include "comm_param.h"
#include "common.hpp"

namespace {

std::string failed(const char *fn, int code) {
    return "ERR " + std::string(fn) + " :[ZEV]Get FW Failed!uRet=" + std::to_string(code) + "\r\n";
}

TEST(ParamText, TextLookupTable) {
    Zev_Comm_SetPrintLev(7);
    // text, key, failure code (0: found), the value found
    // clang-format off
    const std::tuple<std::string, const char *, int, std::string> cases[] = {
        {"FW=12\\HW=3\\", "HW", 0, "3"}, {"HW=1\\", "FW", 1, ""}, {"FW=1", "FW", 2, ""},  // no backslash anywhere
        {"FW=\\HW=2\\", "FW", 4, ""}, {"XFW=1\\FW=2\\", "FW", 0, "1"},  // first occurrence, inside a longer key
        {"A=FW\\FW=2\\", "FW", 3, ""},    // in an earlier value: its entry has no "="
        {"FW=1\\", "", 0, "1"},                             // the empty key is found at the start
        {"FW= -7 \\", "FW", 0, " -7 "},                     // nothing trimmed
        {std::string(1030, 'x') + "FW=9\\", "FW", 1, ""},   // behind the 1023-byte window
        {std::string(1016, 'x') + "FW=9\\", "FW", 0, "9"},  // its backslash is byte 1021
        {std::string(1019, 'x') + "FW=9\\", "FW", 2, ""}};  // its backslash is byte 1024
    // clang-format on
    for (const auto &[original, key, code, found] : cases) {
        SCOPED_TRACE(original.substr(0, 40) + " / " + key);
        const std::string text = original;
        char out[1100];
        memset(out, '#', sizeof out);
        int32_t value = -12345;
        const auto fails = [c = code](const char *fn) {
            return std::pair(c == 0 ? 1 : 0, c == 0 ? Lines{} : Lines{failed(fn, c)});
        };
        EXPECT_EQ(logged([&, k = key] { return ZevGetTargetFwVer(text.c_str(), k, out); }),
                  fails("ZevGetTargetFwVer"));
        EXPECT_EQ(code == 0 ? std::string(out) : std::string(out, 1), code == 0 ? found : "#");
        EXPECT_EQ(logged([&, k = key] { return ZevGetFactoryParam(text.c_str(), k, &value); }),
                  fails("ZevGetFactoryParam"));
        EXPECT_EQ(value, code == 0 ? atoi(found.c_str()) : -12345);
        EXPECT_EQ(text, original) << "the caller's text stays as it was";
    }
}

// The file readers see only the first 511 bytes.
TEST(ParamText, FileReaders) {
    Zev_Comm_SetPrintLev(7);
    testsupport::TempDir dir;
    const std::string pad(500, '.'), f = dir / "param.txt", missing = dir / "missing";
    // the file, failure code of the text lookup (0: found), the value found
    const std::tuple<std::string, int, std::string> cases[] = {
        // clang-format off
        {"HW=1\\FW=42\\\n", 0, "42"}, {"FW=\\", 4, ""},
        {pad + "......FW=7\\", 0, "7"},     // its backslash is byte 510, the last one read
        {pad + "..........FW=7\\", 1, ""},  // behind byte 511
        {pad + ".....FW=123\\", 2, ""}};    // its backslash is byte 511
    // clang-format on
    for (const auto &[content, code, found] : cases) {
        ASSERT_TRUE(write_file(f, content));
        int32_t value = -7;
        char out[512] = "keep";
        const auto lines = [&, c = code, &v = found](const std::string &fn, const char *lookup) {
            return c == 0 ? Lines{"VER " + fn + " :FW=" + v + "\r\n"} : Lines{failed(lookup, c)};
        };
        EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_Comm_GetNumFromFileBykey(f.c_str(), "FW", &value), 0); }),
                  lines("Zev_Comm_GetNumFromFileBykey", "ZevGetFactoryParam"));
        EXPECT_EQ(value, code == 0 ? atoi(found.c_str()) : -7) << found;
        EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_Comm_GetStrFromFileBykey(f.c_str(), "FW", out), 0); }),
                  lines("Zev_Comm_GetStrFromFileBykey", "ZevGetTargetFwVer"));
        EXPECT_STREQ(out, code == 0 ? found.c_str() : "keep");
    }
    // Missing arguments give -100, a missing file what the read gave.
    int32_t value = 5;
    char out[16] = "keep";
    EXPECT_EQ(
        logged([&] { EXPECT_EQ(Zev_Comm_GetNumFromFileBykey(missing.c_str(), "FW", &value), 1); }),
        (Lines{"VER Zev_Comm_ReadFile :[ZEV]ZevReadFile---" + missing + "---failed!uRet=1 (0 bytes)\r\n",
               "VER Zev_Comm_GetNumFromFileBykey :Failed!uRet=1\r\n"}));
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_Comm_GetStrFromFileBykey(f.c_str(), nullptr, out), -100); }),
              Lines{"VER Zev_Comm_GetStrFromFileBykey :Failed!uRet=-100\r\n"});
    EXPECT_EQ(Zev_Comm_GetNumFromFileBykey(nullptr, "FW", &value), -100);
    EXPECT_EQ(Zev_Comm_GetNumFromFileBykey(f.c_str(), "FW", nullptr), -100);
    EXPECT_EQ(Zev_Comm_GetStrFromFileBykey(missing.c_str(), "FW", out), 1);
    EXPECT_EQ(value, 5);
    EXPECT_STREQ(out, "keep");
}

TEST(ParamText, LineValues) {
    // line, value (nullptr: none), number
    const std::tuple<std::string, const char *, int32_t> cases[] = {
        {"FW=12\r\n", "12", 12},   {"FW=", "", 0},         {"FW", nullptr, -1},  {"", nullptr, -1},
        {"FW=-1\n", "-1", -1},     {"FW=7\nX\rY", "7", 7}, {"FW=7\n\r", "7", 7}, {"A=B=C\n", "B=C", 0},
        {"FW= 42 \n", " 42 ", 42}, {"FW\\=3", "3", 3},  // the backslash means nothing here
        {"\r\nFW=3", "3", 3},                           // the line end before the "=" stays
    };
    // Past the int range atoi stops at its end, as with the camera's 32-bit
    // long, rather than keep the low 32 bits.
    const std::pair<const char *, int32_t> wide[] = {{"FW=2147483648", INT32_MAX},
                                                     {"FW=4294967297", INT32_MAX},
                                                     {"FW=-2147483649", INT32_MIN},
                                                     {"FW=-99999999999999999999", INT32_MIN}};
    for (const auto &[line, number] : wide) {
        std::string s = line;
        EXPECT_EQ(Zev_Comm_GetIntVal(s.data()), number) << line;
    }
    for (const auto &[line, value, number] : cases) {
        std::string s = line;
        const char *v = Zev_Comm_GetStrVal(s.data());
        if (value == nullptr) {
            EXPECT_EQ(v, nullptr) << line;
        } else {
            ASSERT_TRUE(v > s.data() && v <= s.data() + s.size()) << line << ": points into the line";
            EXPECT_STREQ(v, value) << line;
        }
        s = line;
        EXPECT_EQ(Zev_Comm_GetIntVal(s.data()), number) << line;
    }
}

}  // namespace
