// SPDX-License-Identifier: MIT
// GPIO over a simulated sysfs: the 4-byte writes, the value read, the
// results and log lines.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <tuple>

#include "../media/media_test.hpp"
#include "comm_gpio.h"
#include "comm_log.h"
#include "testbed.hpp"

using namespace testsupport;

namespace {

const std::string kGpio = "/sys/class/gpio";
std::string four(const std::string &text) { return text + std::string(4 - text.size(), '\0'); }

class Gpio : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<Testbed>();
        ASSERT_TRUE(bed_->write(kGpio + "/export", "") && bed_->write(kGpio + "/unexport", ""));
        Zev_Comm_SetPrintLev(5);
    }
    void add_pin(int pin, const std::string &value = "0\n") {
        const std::string dir = kGpio + "/gpio" + std::to_string(pin);
        ASSERT_TRUE(bed_->write(dir + "/direction", "in\n") && bed_->write(dir + "/value", value));
    }
    std::string read(const std::string &rel) const { return bed_->read(kGpio + rel); }
    std::unique_ptr<Testbed> bed_;
};

TEST_F(Gpio, ExportAndUnexportWriteFourBytes) {
    for (const int pin : {33, 0, 123, -2, 999, -99}) {  // -2: the kernel's refusal goes unseen
        const std::string ok = "DDD Zev_Comm_Gpio_Export :export gpio[" + std::to_string(pin) + "] ok\n";
        EXPECT_EQ(logged([pin] { return Zev_Comm_Gpio_Export(pin); }), std::make_pair(0, Lines{ok}));
        EXPECT_EQ(read("/export"), four(std::to_string(pin))) << pin;
        EXPECT_EQ(logged([pin] { return Zev_Comm_Gpio_Unexport(pin); }), std::make_pair(0, Lines{}));
        EXPECT_EQ(read("/unexport"), four(std::to_string(pin))) << pin;
    }
}

// Every call that returns -1: pin -1 (refused before any open), numbers
// that do not fit the text, and attributes that cannot be opened.
TEST_F(Gpio, RefusalsAndTheirLines) {
    char out[4] = "out";
    // The GPIO class there (false: gone, so any open fails), the call, its line after "DBG Zev_Comm_Gpio_"
    // ("": silent).
    // clang-format off
    const std::tuple<bool, std::function<int()>, std::string> cases[] = {
        {false, [] { return Zev_Comm_Gpio_Export(-1); }, "Export :gpio=-1\n"}, {false, [] { return Zev_Comm_Gpio_Unexport(-1); }, ""},
        {false, [&] { return Zev_Comm_Gpio_SetDirection(-1, out); }, ""}, {false, [] { return Zev_Comm_Gpio_GetVal(-1); }, ""},
        {false, [] { return Zev_Comm_Gpio_SetVal(-1, 1); }, ""},
        {false, [] { return Zev_Comm_Gpio_Export(33); }, "Export :fail to export gpio[33]\n"},
        {false, [] { return Zev_Comm_Gpio_Unexport(33); }, "Unexport :no export gpio[33]\n"},
        {false, [&] { return Zev_Comm_Gpio_SetDirection(33, out); }, "SetDirection :fail direction[out] gpio[33]\n"},
        {false, [] { return Zev_Comm_Gpio_GetVal(33); }, "GetVal :fail to open gpio[33]\n"},
        {false, [] { return Zev_Comm_Gpio_SetVal(33, 1); }, "SetVal :fail to open gpio[33]\n"},
        {true, [] { return Zev_Comm_Gpio_GetVal(-2); }, "GetVal :fail to open gpio[-2]\n"},
        {true, [] { return Zev_Comm_Gpio_Export(1000); }, "Export :gpio[1000] out of range\n"},
        {true, [] { return Zev_Comm_Gpio_Export(-100); }, "Export :gpio[-100] out of range\n"},
        {true, [] { return Zev_Comm_Gpio_Unexport(12345); }, "Unexport :gpio[12345] out of range\n"},
        {true, [&] { return Zev_Comm_Gpio_SetDirection(1000, out); }, "SetDirection :gpio[1000] out of range\n"},
        {true, [] { return Zev_Comm_Gpio_GetVal(INT32_MAX); }, "GetVal :gpio[2147483647] out of range\n"},
        {true, [] { return Zev_Comm_Gpio_SetVal(1000, 1); }, "SetVal :gpio[1000] out of range\n"},
        {true, [] { return Zev_Comm_Gpio_SetVal(33, 1000); }, "SetVal :value[1000] out of range\n"},
        {true, [] { return Zev_Comm_Gpio_SetVal(33, -100); }, "SetVal :value[-100] out of range\n"}};
    // clang-format on
    for (const auto &[tree, call, line] : cases) {
        ASSERT_TRUE(tree ? bed_->write(kGpio + "/export", "") && bed_->write(kGpio + "/unexport", "")
                         : bed_->remove(kGpio));
        if (tree) add_pin(33, "7\n");
        EXPECT_EQ(logged(call),
                  std::make_pair(-1, line.empty() ? Lines{} : Lines{"DBG Zev_Comm_Gpio_" + line}))
            << line;
        if (!tree) continue;
        EXPECT_EQ(read("/export") + "|" + read("/unexport") + "|" + read("/gpio33/value"), "||7\n")
            << "nothing was written";
    }
}

TEST_F(Gpio, DirectionAndValueWrites) {
    add_pin(33);
    char out[4] = {'o', 'u', 't', '\0'},
         in[4] = {'i', 'n', '\0', 'Z'};  // all 4 bytes go out, whatever they are
    for (const auto &[dir, bytes] :
         {std::pair{out, std::string("out\0", 4)}, {in, std::string("in\0Z", 4)}}) {
        ASSERT_TRUE(bed_->write(kGpio + "/gpio33/direction", ""));
        EXPECT_EQ(Zev_Comm_Gpio_SetDirection(33, dir), 0);
        EXPECT_EQ(read("/gpio33/direction"), bytes);
    }
    for (const auto &[value, text] : {std::pair{1, "1"}, {0, "0"}, {-5, "-5"}, {255, "255"}}) {
        ASSERT_TRUE(bed_->write(kGpio + "/gpio33/value", ""));
        EXPECT_EQ(Zev_Comm_Gpio_SetVal(33, value), 0);
        EXPECT_EQ(read("/gpio33/value"), four(text)) << value;
    }
}

TEST_F(Gpio, GetValReadsTheNumber) {
    // clang-format off
    for (const auto &[text, value] : {std::pair<std::string, int>{"0\n", 0}, {"1\n", 1}, {"", 0}, {"1", 1},
            {four("1"), 1}, {"123456789012345\n", 123456789} /* at most 9 bytes are read */, {"x\n", 0}}) {
        // clang-format on
        add_pin(33, text);
        EXPECT_EQ(Zev_Comm_Gpio_GetVal(33), value) << text;
    }
}

TEST_F(Gpio, NoDescriptorIsLeftOpen) {
    add_pin(33);
    char out[4] = "out";
    const int probe_before = dup(0);
    close(probe_before);
    for (int i = 0; i < 100; ++i)
        Zev_Comm_Gpio_Export(33), Zev_Comm_Gpio_SetDirection(33, out), Zev_Comm_Gpio_SetVal(33, i & 1),
            Zev_Comm_Gpio_GetVal(33), Zev_Comm_Gpio_GetVal(44), Zev_Comm_Gpio_Unexport(33);
    const int probe_after = dup(0);
    close(probe_after);
    EXPECT_EQ(probe_after, probe_before);
}

}  // namespace
