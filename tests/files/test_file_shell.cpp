// touch and rm -rf through the shell: the command text, the result that is
// always 1, and the path limits. Recording stubs stand first on PATH; the
// real commands only ever see a private folder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_file.h"
#include "comm_log.h"
#include "log_lines.hpp"
#include "tempdir.hpp"
#include "tests/datetime/stub_commands.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

TEST(FileShell, CommandsAsTheShellSeesThem) {
    Zev_Comm_SetPrintLev(7);
    testsupport::StubCommands stubs;
    const std::string argc = "echo \"argc $#\" >> '" + stubs.log_path() + "'";
    stubs.add("touch", argc);
    stubs.add("rm", argc + "\nexit 1");  // a failing command changes nothing
    const std::string p121(121, 'a');
    const std::string p120(120, 'b');
    const struct {
        const char *name;
        bool create;
        std::string path;
        std::vector<std::string> calls;
        std::vector<std::string> lines;
    } cases[] = {
        {"touch", true, "/mnt/mmc/a.txt", {"touch /mnt/mmc/a.txt", "argc 1"}, {}},
        {"blank splits", true, "/mnt/mmc/a b", {"touch /mnt/mmc/a b", "argc 2"}, {}},
        {"percent stays", true, "/tmp/100%sure%d", {"touch /tmp/100%sure%d", "argc 1"}, {}},
        {"rm", false, "/mnt/mmc/DCIM", {"rm -rf /mnt/mmc/DCIM", "argc 2"}, {}},
        {"touch at the limit", true, p121, {"touch " + p121, "argc 1"}, {}},
        {"touch too long", true, p121 + "x", {}, {"VER Zev_Comm_CreateNormalFile :---" + p121 + "x---too long\r\n"}},
        {"rm at the limit", false, p120, {"rm -rf " + p120, "argc 2"}, {}},
        {"rm too long", false, p120 + "/", {}, {"VER Zev_Comm_DeleteFile :---" + p120 + "/---too long\r\n"}},
    };
    for (const auto &c : cases) {
        stubs.clear();
        int32_t r = 0;
        const auto lines = summarise(capture_stdout([&] {
            r = c.create ? Zev_Comm_CreateNormalFile(c.path.c_str()) : Zev_Comm_DeleteFile(c.path.c_str());
        }));
        EXPECT_EQ(r, 1) << c.name;
        EXPECT_EQ(stubs.calls(), c.calls) << c.name;
        EXPECT_EQ(lines, c.lines) << c.name;
    }
}

TEST(FileShell, RealCommandsOnAPrivateFolder) {
    testsupport::TempDir dir;
    const std::string file = dir / "new.txt";
    EXPECT_EQ(Zev_Comm_CreateNormalFile(file.c_str()), 1);
    EXPECT_EQ(Zev_Comm_IsFileExist(file.c_str()), 1);
    EXPECT_EQ(Zev_Comm_GetFileSize(file.c_str()), 0);
    ASSERT_TRUE(testsupport::write_file(dir / "tree/a/b/c.txt", "x"));
    EXPECT_EQ(Zev_Comm_DeleteFile((dir / "tree").c_str()), 1);
    EXPECT_EQ(Zev_Comm_IsFileExist((dir / "tree").c_str()), 0);
    EXPECT_EQ(Zev_Comm_DeleteFile((dir / "tree").c_str()), 1) << "also when there is nothing to remove";
    EXPECT_EQ(Zev_Comm_CreateNormalFile((dir / "no/such/folder/f").c_str()), 1) << "also when touch fails";
    EXPECT_EQ(Zev_Comm_IsFileExist(file.c_str()), 1);
}

}  // namespace
