// Key=value texts: the backslash-ended parameter text with its failure
// numbers, the 511-byte window of the file readers, and line values.
#include <gtest/gtest.h>

#include <cstring>

#include "../datetime/stub_commands.hpp"
#include "comm_log.h"
#include "comm_param.h"

using testsupport::Lines;
using testsupport::logged;

namespace {

std::string failed(const char *fn, int code) {
    return "ERR " + std::string(fn) + " :[ZEV]Get FW Failed!uRet=" + std::to_string(code) + "\r\n";
}

TEST(ParamText, TextLookupTable) {
    Zev_Comm_SetPrintLev(7);
    const struct {
        std::string text;
        const char *key;
        int code;           // 0: found
        std::string value;  // the text value when found
    } cases[] = {
        {"FW=12\\HW=3\\", "HW", 0, "3"},
        {"XFW=1\\FW=2\\", "FW", 0, "1"},  // first occurrence, inside a longer key
        {"A=FW\\FW=2\\", "FW", 3, ""},    // in an earlier value: its entry has no "="
        {"FW=1", "FW", 2, ""},            // no backslash anywhere
        {"FW=\\HW=2\\", "FW", 4, ""},
        {"HW=1\\", "FW", 1, ""},
        {"FW=1\\", "", 0, "1"},                             // the empty key is found at the start
        {"FW= -7 \\", "FW", 0, " -7 "},                     // nothing trimmed
        {std::string(1030, 'x') + "FW=9\\", "FW", 1, ""},   // behind the 1023-byte window
        {std::string(1016, 'x') + "FW=9\\", "FW", 0, "9"},  // its backslash is byte 1021
        {std::string(1019, 'x') + "FW=9\\", "FW", 2, ""},   // its backslash is byte 1024
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40) + " / " + c.key);
        const std::string text = c.text;
        char out[1100];
        memset(out, '#', sizeof out);
        int32_t r = -1, value = -12345;
        Lines lines = logged([&] { r = ZevGetTargetFwVer(text.c_str(), c.key, out); });
        EXPECT_EQ(r, c.code == 0 ? 1 : 0);
        EXPECT_EQ(c.code == 0 ? std::string(out) : std::string(out, 1), c.code == 0 ? c.value : "#");
        EXPECT_EQ(lines, c.code == 0 ? Lines{} : Lines{failed("ZevGetTargetFwVer", c.code)});
        lines = logged([&] { r = ZevGetFactoryParam(text.c_str(), c.key, &value); });
        EXPECT_EQ(r, c.code == 0 ? 1 : 0);
        EXPECT_EQ(value, c.code == 0 ? atoi(c.value.c_str()) : -12345);
        EXPECT_EQ(lines, c.code == 0 ? Lines{} : Lines{failed("ZevGetFactoryParam", c.code)});
        EXPECT_EQ(text, c.text) << "the caller's text stays as it was";
    }
}

// The file readers see only the first 511 bytes.
TEST(ParamText, FileReaders) {
    Zev_Comm_SetPrintLev(7);
    testsupport::TempDir dir;
    const std::string pad(500, '.'), f = dir / "param.txt", missing = dir / "missing";
    const struct {
        std::string content;
        int code;  // of the text lookup, 0: found
        std::string value;
    } cases[] = {
        {"HW=1\\FW=42\\\n", 0, "42"},
        {pad + "FW=7\\", 0, "7"},           // bytes 500..504: the last in the window
        {pad + "..........FW=7\\", 1, ""},  // behind byte 511
        {pad + ".....FW=123\\", 2, ""},     // the backslash is byte 511
        {"FW=\\", 4, ""},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(testsupport::write_file(f, c.content));
        int32_t value = -7, r = -1;
        char out[512] = "keep";
        Lines lines = logged([&] { r = Zev_Comm_GetNumFromFileBykey(f.c_str(), "FW", &value); });
        EXPECT_EQ(r, 0);
        EXPECT_EQ(value, c.code == 0 ? atoi(c.value.c_str()) : -7) << c.value;
        EXPECT_EQ(lines, c.code == 0 ? Lines{"VER Zev_Comm_GetNumFromFileBykey :FW=" + c.value + "\r\n"}
                                     : Lines{failed("ZevGetFactoryParam", c.code)});
        lines = logged([&] { r = Zev_Comm_GetStrFromFileBykey(f.c_str(), "FW", out); });
        EXPECT_EQ(r, 0);
        EXPECT_STREQ(out, c.code == 0 ? c.value.c_str() : "keep");
        EXPECT_EQ(lines, c.code == 0 ? Lines{"VER Zev_Comm_GetStrFromFileBykey :FW=" + c.value + "\r\n"}
                                     : Lines{failed("ZevGetTargetFwVer", c.code)});
    }
    // Missing arguments give -100, a missing file what the read gave; the
    // value is left as it was.
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
    const struct {
        std::string line;
        const char *value;  // nullptr: none
        int32_t number;
    } cases[] = {
        {"FW=12\r\n", "12", 12},   {"FW=", "", 0},         {"FW", nullptr, -1},  {"", nullptr, -1},
        {"FW=-1\n", "-1", -1},     {"FW=7\nX\rY", "7", 7}, {"FW=7\n\r", "7", 7}, {"A=B=C\n", "B=C", 0},
        {"FW= 42 \n", " 42 ", 42}, {"FW\\=3", "3", 3},  // the backslash means nothing here
        {"\r\nFW=3", "3", 3},                           // the line end before the "=" stays
    };
    for (const auto &c : cases) {
        std::string s = c.line;
        const char *v = Zev_Comm_GetStrVal(s.data());
        if (c.value == nullptr) {
            EXPECT_EQ(v, nullptr) << c.line;
        } else {
            ASSERT_TRUE(v > s.data() && v <= s.data() + s.size()) << c.line << ": points into the line";
            EXPECT_STREQ(v, c.value) << c.line;
        }
        s = c.line;
        EXPECT_EQ(Zev_Comm_GetIntVal(s.data()), c.number) << c.line;
    }
}

}  // namespace
