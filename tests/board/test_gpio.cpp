// GPIO over a simulated sysfs: the 4-byte writes, the value read, the
// results and log lines.
#include <gtest/gtest.h>

#include <string>

#include "capture.hpp"
#include "comm_gpio.h"
#include "comm_log.h"
#include "log_lines.hpp"
#include "testbed.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

const std::string kGpio = "/sys/class/gpio";

class Gpio : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<testsupport::Testbed>();
        ASSERT_TRUE(bed_->write(kGpio + "/export", ""));
        ASSERT_TRUE(bed_->write(kGpio + "/unexport", ""));
        Zev_Comm_SetPrintLev(5);
    }
    void add_pin(int pin, const std::string &value = "0\n") {
        const std::string dir = kGpio + "/gpio" + std::to_string(pin);
        ASSERT_TRUE(bed_->write(dir + "/direction", "in\n"));
        ASSERT_TRUE(bed_->write(dir + "/value", value));
    }
    std::unique_ptr<testsupport::Testbed> bed_;
};

TEST_F(Gpio, ExportAndUnexportWriteFourBytes) {
    const struct {
        int pin;
        std::string bytes;
    } cases[] = {
        {33, std::string("33\0\0", 4)},
        {0, std::string("0\0\0\0", 4)},
        {123, std::string("123\0", 4)},
        {-2, std::string("-2\0\0", 4)},  // the kernel's refusal goes unseen
        {999, std::string("999\0", 4)},
        {-99, std::string("-99\0", 4)},
    };
    for (const auto &c : cases) {
        int r = 99;
        auto lines = summarise(capture_stdout([&] { r = Zev_Comm_Gpio_Export(c.pin); }));
        EXPECT_EQ(r, 0);
        EXPECT_EQ(bed_->read(kGpio + "/export"), c.bytes) << c.pin;
        EXPECT_EQ(lines, std::vector<std::string>{"DDD Zev_Comm_Gpio_Export :export gpio[" + std::to_string(c.pin) + "] ok\n"});
        lines = summarise(capture_stdout([&] { r = Zev_Comm_Gpio_Unexport(c.pin); }));
        EXPECT_EQ(r, 0);
        EXPECT_EQ(bed_->read(kGpio + "/unexport"), c.bytes) << c.pin;
        EXPECT_TRUE(lines.empty());
    }
}

// Every call that returns -1: pin -1 (refused before any open), numbers
// that do not fit the text, and attributes that cannot be opened.
TEST_F(Gpio, RefusalsAndTheirLines) {
    using Call = int (*)(char *);
    const struct {
        bool tree;  // false: the GPIO class is gone, so any open fails
        Call call;
        const char *line;  // nullptr: silent
    } cases[] = {
        {false, [](char *) { return Zev_Comm_Gpio_Export(-1); }, "DBG Zev_Comm_Gpio_Export :gpio=-1\n"},
        {false, [](char *) { return Zev_Comm_Gpio_Unexport(-1); }, nullptr},
        {false, [](char *d) { return Zev_Comm_Gpio_SetDirection(-1, d); }, nullptr},
        {false, [](char *) { return Zev_Comm_Gpio_GetVal(-1); }, nullptr},
        {false, [](char *) { return Zev_Comm_Gpio_SetVal(-1, 1); }, nullptr},
        {false, [](char *) { return Zev_Comm_Gpio_Export(33); }, "DBG Zev_Comm_Gpio_Export :fail to export gpio[33]\n"},
        {false, [](char *) { return Zev_Comm_Gpio_Unexport(33); }, "DBG Zev_Comm_Gpio_Unexport :no export gpio[33]\n"},
        {false, [](char *d) { return Zev_Comm_Gpio_SetDirection(33, d); },
         "DBG Zev_Comm_Gpio_SetDirection :fail direction[out] gpio[33]\n"},
        {false, [](char *) { return Zev_Comm_Gpio_GetVal(33); }, "DBG Zev_Comm_Gpio_GetVal :fail to open gpio[33]\n"},
        {false, [](char *) { return Zev_Comm_Gpio_SetVal(33, 1); }, "DBG Zev_Comm_Gpio_SetVal :fail to open gpio[33]\n"},
        {true, [](char *) { return Zev_Comm_Gpio_GetVal(-2); }, "DBG Zev_Comm_Gpio_GetVal :fail to open gpio[-2]\n"},
        {true, [](char *) { return Zev_Comm_Gpio_Export(1000); }, "DBG Zev_Comm_Gpio_Export :gpio[1000] out of range\n"},
        {true, [](char *) { return Zev_Comm_Gpio_Export(-100); }, "DBG Zev_Comm_Gpio_Export :gpio[-100] out of range\n"},
        {true, [](char *) { return Zev_Comm_Gpio_Unexport(12345); }, "DBG Zev_Comm_Gpio_Unexport :gpio[12345] out of range\n"},
        {true, [](char *d) { return Zev_Comm_Gpio_SetDirection(1000, d); },
         "DBG Zev_Comm_Gpio_SetDirection :gpio[1000] out of range\n"},
        {true, [](char *) { return Zev_Comm_Gpio_GetVal(INT32_MAX); }, "DBG Zev_Comm_Gpio_GetVal :gpio[2147483647] out of range\n"},
        {true, [](char *) { return Zev_Comm_Gpio_SetVal(1000, 1); }, "DBG Zev_Comm_Gpio_SetVal :gpio[1000] out of range\n"},
        {true, [](char *) { return Zev_Comm_Gpio_SetVal(33, 1000); }, "DBG Zev_Comm_Gpio_SetVal :value[1000] out of range\n"},
        {true, [](char *) { return Zev_Comm_Gpio_SetVal(33, -100); }, "DBG Zev_Comm_Gpio_SetVal :value[-100] out of range\n"},
    };
    char out[4] = "out";
    for (const auto &c : cases) {
        ASSERT_TRUE(c.tree ? bed_->write(kGpio + "/export", "") && bed_->write(kGpio + "/unexport", "")
                           : bed_->remove(kGpio));
        if (c.tree) add_pin(33, "7\n");
        int r = 0;
        const auto lines = summarise(capture_stdout([&] { r = c.call(out); }));
        EXPECT_EQ(r, -1) << (c.line ? c.line : "silent");
        EXPECT_EQ(lines, c.line ? std::vector<std::string>{c.line} : std::vector<std::string>{});
        if (c.tree) {  // nothing was written
            EXPECT_EQ(bed_->read(kGpio + "/export"), "");
            EXPECT_EQ(bed_->read(kGpio + "/unexport"), "");
            EXPECT_EQ(bed_->read(kGpio + "/gpio33/value"), "7\n");
        }
    }
}

TEST_F(Gpio, DirectionAndValueWrites) {
    add_pin(33);
    char out[4] = {'o', 'u', 't', '\0'};
    char in[4] = {'i', 'n', '\0', 'Z'};  // all 4 bytes go out, whatever they are
    EXPECT_EQ(Zev_Comm_Gpio_SetDirection(33, out), 0);
    EXPECT_EQ(bed_->read(kGpio + "/gpio33/direction"), std::string("out\0", 4));
    ASSERT_TRUE(bed_->write(kGpio + "/gpio33/direction", ""));
    EXPECT_EQ(Zev_Comm_Gpio_SetDirection(33, in), 0);
    EXPECT_EQ(bed_->read(kGpio + "/gpio33/direction"), std::string("in\0Z", 4));

    const struct {
        int value;
        std::string bytes;
    } values[] = {{1, std::string("1\0\0\0", 4)}, {0, std::string("0\0\0\0", 4)}, {-5, std::string("-5\0\0", 4)}, {255, "255" + std::string(1, '\0')}};
    for (const auto &v : values) {
        ASSERT_TRUE(bed_->write(kGpio + "/gpio33/value", ""));
        EXPECT_EQ(Zev_Comm_Gpio_SetVal(33, v.value), 0);
        EXPECT_EQ(bed_->read(kGpio + "/gpio33/value"), v.bytes) << v.value;
    }
}

TEST_F(Gpio, GetValReadsTheNumber) {
    const struct {
        std::string text;
        int value;
    } cases[] = {
        {"0\n", 0}, {"1\n", 1}, {"", 0}, {"1", 1}, {std::string("1\0\0\0", 4), 1},
        {"123456789012345\n", 123456789},  // at most 9 bytes are read
        {"x\n", 0},
    };
    for (const auto &c : cases) {
        add_pin(33, c.text);
        EXPECT_EQ(Zev_Comm_Gpio_GetVal(33), c.value) << c.text;
    }
}

TEST_F(Gpio, NoDescriptorIsLeftOpen) {
    add_pin(33);
    char out[4] = "out";
    const int probe_before = dup(0);
    close(probe_before);
    for (int i = 0; i < 100; ++i) {
        Zev_Comm_Gpio_Export(33);
        Zev_Comm_Gpio_SetDirection(33, out);
        Zev_Comm_Gpio_SetVal(33, i & 1);
        Zev_Comm_Gpio_GetVal(33);
        Zev_Comm_Gpio_GetVal(44);
        Zev_Comm_Gpio_Unexport(33);
    }
    const int probe_after = dup(0);
    close(probe_after);
    EXPECT_EQ(probe_after, probe_before);
}

}  // namespace
