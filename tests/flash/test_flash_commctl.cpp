// SPDX-License-Identifier: MIT
// commctl's flash, identity record and digest commands on the simulated
// board, with one failure of each.
#include <gtest/gtest.h>

#include "run.hpp"
#include "tempdir.hpp"

using namespace testsupport;

namespace {

TEST(FlashCommctl, CommandsOnTheSimulatedBoard) {
    TempDir state;
    const auto commctl = [&](std::vector<std::string> args) {
        args.insert(args.begin(), {COMMCTL_EXE, "--level", "0"});
        return on_board(state.path(), args);
    };
    // KEY_CUST is mtd3 and KEY_CUST1 mtd2 on the simulated board.
    const std::string first = state / "board/dev/mtdblock3", second = state / "board/dev/mtdblock2";
    EXPECT_NE(commctl({"sn", "show"}).out.find("MTD_PART_SN         empty\nMTD_PART_SN_BACKUP  empty\n"),
              std::string::npos);
    EXPECT_EQ(read_file(first), std::string(0x8000, '\xff'));
    ASSERT_EQ(commctl({"sn", "set", "Sn", "SN-0042"}).status, 0);
    ASSERT_EQ(commctl({"sn", "set", "--hex", "Did", "00ff10"}).status, 0);
    EXPECT_EQ(commctl({"sn", "get", "sn"}).out, "\"SN-0042\"\n");
    EXPECT_EQ(commctl({"sn", "get", "Did", "--hex"}).out, "hex 00ff10\n");
    const std::string copy = read_file(first).substr(0x6000, 1152);
    EXPECT_EQ(copy.substr(0, 8), std::string("SN-0042\0", 8));
    // A damaged Sn in the second copy: judged bad with the score of the
    // fields still right (Did), and repaired from the first.
    std::string damaged = read_file(second);
    damaged[0x6000] = 'X';
    ASSERT_TRUE(write_file(second, damaged));
    RunResult r = commctl({"sn", "show"});
    EXPECT_NE(r.out.find("MTD_PART_SN         good\nMTD_PART_SN_BACKUP  bad, score 2 of 13\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("Sn      ok        WRONG     readable   \"SN-0042\"\n"), std::string::npos) << r.out;
    EXPECT_EQ(read_file(second).substr(0x6000, 1152), copy);
    EXPECT_EQ(commctl({"sn", "erase", "Sn"}).status, 0);
    // Regions and digests.
    const std::string data = state / "data", out = state / "out";
    ASSERT_TRUE(write_file(data, "123456789"));
    EXPECT_EQ(commctl({"mtd", "write", "MTD_PART_FACTORY", "0x10", data}).out, "wrote 9 bytes\n");
    EXPECT_EQ(read_file(first).substr(0x4010, 9), "123456789");
    EXPECT_EQ(commctl({"mtd", "read", "MTD_PART_FACTORY", "0x10", "4"}).out, "00000010  31 32 33 34\n");
    ASSERT_EQ(commctl({"mtd", "read", "MTD_PART_FACTORY", "0x10", "9", out}).status, 0);
    EXPECT_EQ(read_file(out), "123456789");
    EXPECT_EQ(commctl({"md5", data}).out, "25f9e794323b453885f5181f1b624d0b  " + data + "\n");
    EXPECT_EQ(commctl({"crc8", data, "0xFF"}).out, "0x7F\n");
    // clang-format off
    const struct { std::vector<std::string> args; int status; std::string err; } failures[] = {
        {{"sn", "get", "Sn"}, 1, "Sn is unreadable"},  // erased above
        {{"sn", "get", "Serial"}, 2, "unknown field 'Serial'"},
        {{"sn", "set", "Sn", std::string(64, 'a')}, 1, "Sn refused (-2)"},
        {{"mtd", "read", "MTD_PART_NOPE", "0", "4"}, 1, "mtd read MTD_PART_NOPE failed (-2)"},
        {{"crc8", data, "256"}, 2, "start value must be 0 to 255"},
        {{"md5", state / "missing"}, 1, "cannot read"},
    };
    // clang-format on
    for (const auto &f : failures) {
        r = commctl(f.args);
        EXPECT_EQ(r.status, f.status) << f.args[1] << " " << r.err;
        EXPECT_NE(r.err.find(f.err), std::string::npos) << r.err;
    }
}

}  // namespace
