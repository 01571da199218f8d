// SPDX-License-Identifier: MIT
// The file-backed settings stand-in.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "settings_file.hpp"
#include "zev_settings.h"

using namespace testsupport;

namespace {

class Settings : public SettingsFile {
protected:
    std::string get(const char *key, int size = 64, int *rc = nullptr) const {
        char buf[128] = {};
        const int r = Zev_Settings_GetKeyStrVal(key, buf, size);
        if (rc != nullptr) *rc = r;
        return buf;
    }
};

TEST_F(Settings, MissingFileOrNoFileNameReadsAsEmpty) {
    int rc = 0;
    EXPECT_EQ(get("Camera.Menu.TimeZone", 64, &rc), "");
    EXPECT_EQ(rc, -1);
    unsetenv("ZEV_SETTINGS_FILE");  // no file name: no settings
    EXPECT_EQ(Zev_Settings_Set("k", "v"), -1);
    EXPECT_EQ(get("k", 64, &rc), "");
    EXPECT_EQ(rc, -1);
}

TEST_F(Settings, SetThenGetKeepsOtherKeys) {
    ASSERT_EQ(Zev_Settings_Set("Camera.Menu.TimeZone", "GMT+09:00"), 0);
    ASSERT_EQ(Zev_Settings_Set("Camera.Menu.TimeFormat", "2"), 0);
    ASSERT_EQ(Zev_Settings_Set("Camera.Menu.TimeZone", "GMT-03:30"), 0);
    EXPECT_EQ(get("Camera.Menu.TimeZone"), "GMT-03:30");
    EXPECT_EQ(get("Camera.Menu.TimeFormat"), "2");
    EXPECT_EQ(read_file(file()), "Camera.Menu.TimeZone=GMT-03:30\nCamera.Menu.TimeFormat=2\n");
}

TEST_F(Settings, ValueIsCutToTheBuffer) {
    ASSERT_EQ(Zev_Settings_Set("k", "abcdefgh"), 0);
    for (const auto &[size, want] : {std::pair{1, ""}, {4, "abc"}, {9, "abcdefgh"}, {64, "abcdefgh"}}) {
        char buf[16];
        memset(buf, 'Z', sizeof buf);
        EXPECT_EQ(Zev_Settings_GetKeyStrVal("k", buf, size), 0);
        EXPECT_STREQ(buf, want);
        EXPECT_TRUE(size >= 9 || buf[size] == 'Z') << "nothing past size";
    }
}

TEST_F(Settings, BadKeysAndValuesAreRefused) {
    using KV = std::pair<const char *, const char *>;
    for (const auto &[key, value] :
         {KV{"", "x"}, {"a=b", "x"}, {"a\nb", "x"}, {"k", "two\nlines"}, {nullptr, "x"}, {"k", nullptr}})
        EXPECT_EQ(Zev_Settings_Set(key, value), -1);
    EXPECT_FALSE(file_exists(file()));
}

TEST_F(Settings, FileWithOddLinesStillReads) {
    ASSERT_TRUE(write_file(file(), "garbage\n=nokey\nk=v=w\r\n\nlast=1"));
    EXPECT_EQ(get("k"), "v=w");
    EXPECT_EQ(get("last"), "1");
    ASSERT_EQ(Zev_Settings_Set("new", "2"), 0);
    EXPECT_EQ(read_file(file()), "k=v=w\nlast=1\nnew=2\n");
}

TEST_F(Settings, FailedWriteKeepsTheOldFile) {
    ASSERT_EQ(Zev_Settings_Set("k", "old"), 0);
    ASSERT_EQ(chmod(dir_.path().c_str(), 0500), 0);
    const bool root = geteuid() == 0;  // root writes anyway
    const int rc = Zev_Settings_Set("k", "new");
    chmod(dir_.path().c_str(), 0700);
    if (!root) {
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(get("k"), "old");
    }
    EXPECT_EQ(read_file(file()).find(".tmp"), std::string::npos);
}

TEST(SettingsCompStr, EqualIsZero) {
    EXPECT_EQ(Zev_Settings_CompStr("1", "1"), 0);
    EXPECT_NE(Zev_Settings_CompStr("1", "2"), 0);
    EXPECT_NE(Zev_Settings_CompStr("", "2"), 0);
    EXPECT_EQ(Zev_Settings_UnProtect(2), 0);
}

}  // namespace
