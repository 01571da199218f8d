// Key=value texts: the backslash-ended parameter text with its failure
// numbers, the 511-byte window of the file readers, and line values.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_param.h"
#include "log_lines.hpp"
#include "tempdir.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

class ParamText : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(7); }
    testsupport::TempDir dir_;
};

struct LookupCase {
    std::string text;
    const char *key;
    int uret;            // 0: found
    std::string value;   // the text value when found
};

const LookupCase kLookups[] = {
    {"FW=12\\HW=3\\", "FW", 0, "12"},
    {"FW=12\\HW=3\\", "HW", 0, "3"},
    {"XFW=1\\FW=2\\", "FW", 0, "1"},          // first occurrence, inside a longer key
    {"A=FW\\FW=2\\", "FW", 3, ""},            // in an earlier value: its entry has no "="
    {"FW\\HW=2\\", "FW", 3, ""},              // cut at the backslash before "=" is sought
    {"FW=1", "FW", 2, ""},                    // no backslash anywhere
    {"FW=\\HW=2\\", "FW", 4, ""},
    {"FW=abc\\", "FW", 0, "abc"},
    {"HW=1\\", "FW", 1, ""},
    {"FW=1\\", "", 0, "1"},                   // the empty key is found at the start
    {"FW= 7 \\", "FW", 0, " 7 "},             // nothing trimmed
    {"FW=1\r\n\\", "FW", 0, "1\r\n"},
    {std::string(1030, 'x') + "FW=9\\", "FW", 1, ""},  // behind the 1023-byte window
    {std::string(1016, 'x') + "FW=9\\", "FW", 0, "9"},  // its backslash is byte 1021
    {std::string(1019, 'x') + "FW=9\\", "FW", 2, ""},   // its backslash is byte 1024
};

TEST_F(ParamText, TextLookupTable) {
    for (const LookupCase &c : kLookups) {
        const std::string label = c.text.substr(0, 40) + " / " + c.key;
        char out[1100];
        memset(out, '#', sizeof out);
        int32_t r = -1;
        auto lines = summarise(capture_stdout([&] { r = ZevGetTargetFwVer(c.text.c_str(), c.key, out); }));
        const std::string failed = std::string("[ZEV]Get ") + c.key + " Failed!uRet=" + std::to_string(c.uret) + "\r\n";
        if (c.uret == 0) {
            EXPECT_EQ(r, 1) << label;
            EXPECT_EQ(std::string(out), c.value) << label;
            EXPECT_TRUE(lines.empty()) << label;
        } else {
            EXPECT_EQ(r, 0) << label;
            EXPECT_EQ(out[0], '#') << label << ": untouched";
            EXPECT_EQ(lines, std::vector<std::string>{"ERR ZevGetTargetFwVer :" + failed}) << label;
        }

        int32_t value = -12345;
        lines = summarise(capture_stdout([&] { r = ZevGetFactoryParam(c.text.c_str(), c.key, &value); }));
        EXPECT_EQ(r, c.uret == 0 ? 1 : 0) << label;
        EXPECT_EQ(value, c.uret == 0 ? atoi(c.value.c_str()) : -12345) << label;
        if (c.uret != 0) {
            EXPECT_EQ(lines, std::vector<std::string>{"ERR ZevGetFactoryParam :" + failed}) << label;
        }
    }
}

TEST_F(ParamText, TheCallersTextStaysAsItWas) {
    const std::string text = "FW=12\\HW=-3\\SN=AB\\";
    std::string copy = text;
    int32_t fw = 0, hw = 0;
    char sn[16] = {};
    EXPECT_EQ(ZevGetFactoryParam(copy.c_str(), "FW", &fw), 1);
    EXPECT_EQ(ZevGetFactoryParam(copy.c_str(), "HW", &hw), 1);
    EXPECT_EQ(ZevGetTargetFwVer(copy.c_str(), "SN", sn), 1);
    EXPECT_EQ(fw, 12);
    EXPECT_EQ(hw, -3);
    EXPECT_STREQ(sn, "AB");
    EXPECT_EQ(copy, text);
}

TEST_F(ParamText, FileReadersSeeOnly511Bytes) {
    const std::string pad(500, '.');
    const struct {
        const char *name;
        std::string content;
        int32_t number;          // -7: left as it was
        std::vector<std::string> lines;
    } cases[] = {
        {"found", "HW=1\\FW=42\\", 42, {"VER Zev_Comm_GetNumFromFileBykey :FW=42\r\n"}},
        {"last in window", pad + "FW=7\\", 7, {"VER Zev_Comm_GetNumFromFileBykey :FW=7\r\n"}},  // bytes 500..504
        {"behind byte 511", pad + "..........FW=7\\", -7,
         {"ERR ZevGetFactoryParam :[ZEV]Get FW Failed!uRet=1\r\n"}},
        {"end cut off", pad + ".....FW=123\\", -7,  // the backslash is byte 511
         {"ERR ZevGetFactoryParam :[ZEV]Get FW Failed!uRet=2\r\n"}},
        {"empty value", "FW=\\", -7, {"ERR ZevGetFactoryParam :[ZEV]Get FW Failed!uRet=4\r\n"}},
    };
    for (const auto &c : cases) {
        const std::string f = dir_ / "param.txt";
        ASSERT_TRUE(testsupport::write_file(f, c.content));
        int32_t value = -7;
        int32_t r = -1;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_GetNumFromFileBykey(f.c_str(), "FW", &value); }));
        EXPECT_EQ(r, 0) << c.name;
        EXPECT_EQ(value, c.number) << c.name;
        EXPECT_EQ(lines, c.lines) << c.name;
    }
}

TEST_F(ParamText, FileReaderOfTexts) {
    const std::string f = dir_ / "fw.txt";
    ASSERT_TRUE(testsupport::write_file(f, "VER=V1.2.3\\\nBUILD=2025\\\n"));
    char out[512];
    strcpy(out, "default");
    int32_t r = -1;
    auto lines = summarise(capture_stdout([&] { r = Zev_Comm_GetStrFromFileBykey(f.c_str(), "VER", out); }));
    EXPECT_EQ(r, 0);
    EXPECT_STREQ(out, "V1.2.3");
    EXPECT_EQ(lines, std::vector<std::string>{"VER Zev_Comm_GetStrFromFileBykey :VER=V1.2.3\r\n"});
    strcpy(out, "default");
    lines = summarise(capture_stdout([&] { r = Zev_Comm_GetStrFromFileBykey(f.c_str(), "SN", out); }));
    EXPECT_EQ(r, 0);
    EXPECT_STREQ(out, "default");
    EXPECT_EQ(lines, std::vector<std::string>{"ERR ZevGetTargetFwVer :[ZEV]Get SN Failed!uRet=1\r\n"});
}

TEST_F(ParamText, FileReaderFailures) {
    const std::string f = dir_ / "p.txt";
    const std::string missing = dir_ / "missing";
    ASSERT_TRUE(testsupport::write_file(f, "FW=1\\"));
    const std::string read_failed = "VER Zev_Comm_ReadFile :[ZEV]ZevReadFile---" + missing + "---failed!uRet=1 (0 bytes)\r\n";
    const struct {
        const char *name;
        const char *path;
        const char *key;
        bool out;
        int32_t result;
    } cases[] = {
        {"null path", nullptr, "FW", true, -100},
        {"null key", f.c_str(), nullptr, true, -100},
        {"null output", f.c_str(), "FW", false, -100},
        {"missing file", missing.c_str(), "FW", true, 1},
    };
    for (const bool text : {false, true}) {
        const std::string fn = text ? "Zev_Comm_GetStrFromFileBykey" : "Zev_Comm_GetNumFromFileBykey";
        for (const auto &c : cases) {
            int32_t value = 5;
            char out[16] = "keep";
            int32_t r = 0;
            const auto lines = summarise(capture_stdout([&] {
                r = text ? Zev_Comm_GetStrFromFileBykey(c.path, c.key, c.out ? out : nullptr)
                         : Zev_Comm_GetNumFromFileBykey(c.path, c.key, c.out ? &value : nullptr);
            }));
            EXPECT_EQ(r, c.result) << fn << " " << c.name;
            std::vector<std::string> expected;
            if (c.result == 1) expected.push_back(read_failed);
            expected.push_back("VER " + fn + " :Failed!uRet=" + std::to_string(c.result) + "\r\n");
            EXPECT_EQ(lines, expected) << fn << " " << c.name;
            EXPECT_EQ(value, 5);
            EXPECT_STREQ(out, "keep");
        }
    }
}

TEST_F(ParamText, LineValues) {
    const struct {
        std::string line;
        bool has_value;
        std::string value;
        int32_t number;
    } cases[] = {
        {"FW=12\r\n", true, "12", 12},
        {"FW=12", true, "12", 12},
        {"FW=", true, "", 0},
        {"FW", false, "", -1},
        {"", false, "", -1},
        {"FW=-1\n", true, "-1", -1},
        {"FW=7\n\r", true, "7", 7},
        {"FW=7\nX\rY", true, "7", 7},
        {"=5", true, "5", 5},
        {"A=B=C\n", true, "B=C", 0},
        {"FW= 42 \n", true, " 42 ", 42},
        {"FW\\=3", true, "3", 3},         // the backslash means nothing here
        {"\r\nFW=3", true, "3", 3},       // the line end before the "=" stays
    };
    for (const auto &c : cases) {
        std::string s = c.line;
        const char *v = Zev_Comm_GetStrVal(s.data());
        if (c.has_value) {
            ASSERT_NE(v, nullptr) << c.line;
            EXPECT_EQ(std::string(v), c.value) << c.line;
            EXPECT_GT(v, s.data()) << "points into the line";
            EXPECT_LT(v, s.data() + s.size() + 1);
        } else {
            EXPECT_EQ(v, nullptr) << c.line;
        }
        s = c.line;
        EXPECT_EQ(Zev_Comm_GetIntVal(s.data()), c.number) << c.line;
    }
    EXPECT_EQ(capture_stdout([] {
                  char s[] = "A=1\r\n";
                  Zev_Comm_GetStrVal(s);
                  Zev_Comm_GetIntVal(s);
              }),
              "");
}

}  // namespace
