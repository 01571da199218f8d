// The FAT attribute requests of Zev_Comm_SetFileHide answered by a handler
// on a mocked node: the order of the two requests, the word handed back,
// and that only bit 0x02 changes.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "comm_file.h"
#include "ioctl_device.hpp"
#include "testbed.hpp"

using testsupport::IoctlAnswer;
using testsupport::IoctlCall;

namespace {

constexpr unsigned long kGet = 0x80047210UL;
constexpr unsigned long kSet = 0x40047211UL;

TEST(FileHideOnANode, OnlyTheHiddenBitChanges) {
    REQUIRE_TESTBED();
    testsupport::Testbed bed;
    testsupport::IoctlDevice node(bed.get(), "/dev/fatfile");
    ASSERT_TRUE(node.attached());
    const struct {
        int32_t entry;   // the attributes the driver holds
        int32_t hide;
        bool get_fails;
        std::vector<IoctlCall> calls;
    } cases[] = {
        {0x20, 1, false, {{kGet, 0}, {kSet, 0x22}}},
        {0x21, 0, false, {{kGet, 0}, {kSet, 0x21}}},
        {0x33, 0, false, {{kGet, 0}, {kSet, 0x31}}},
        {0x02, 5, false, {{kGet, 0}, {kSet, 0x02}}},
        {-1, 0, false, {{kGet, 0}, {kSet, -3}}},
        {0x20, 1, true, {{kGet, 0}}},  // no attributes given: nothing written back
    };
    for (const auto &c : cases) {
        int32_t entry = c.entry;
        const bool get_fails = c.get_fails;
        node.answer([&entry, get_fails](unsigned long request, int32_t word) {
            if (request == kGet) return get_fails ? IoctlAnswer{-1, EINVAL, 0} : IoctlAnswer{0, 0, entry};
            entry = word;
            return IoctlAnswer{0, 0, word};
        });
        node.clear_calls();
        EXPECT_EQ(Zev_Comm_SetFileHide("/dev/fatfile", c.hide), 0);
        EXPECT_EQ(node.calls(), c.calls) << std::hex << c.entry << " " << c.hide;
    }
}

}  // namespace
