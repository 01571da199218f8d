// SPDX-License-Identifier: MIT
// PWM over a simulated sysfs: the strlen writes, the duty cycle read back,
// SetStatus's order and channel limit, the results and log lines.
#include <gtest/gtest.h>

#include <tuple>

#include "../media/media_test.hpp"
#include "comm_log.h"
#include "comm_pwm.h"
#include "testbed.hpp"

using namespace testsupport;

namespace {

const std::string kChip = "/sys/class/pwm/pwmchip0/";

class Pwm : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<Testbed>();
        Zev_Comm_SetPrintLev(5);
    }
    std::unique_ptr<Testbed> bed_;
};

TEST_F(Pwm, WritesTheirTextsAndRefuseNumbersThatDoNotFit) {
    // The file, the call, its result, the file's text afterwards (exactly
    // strlen bytes) and the log line.
    const std::string range = " out of range\n";
    const std::tuple<const char *, int32_t (*)(), int32_t, std::string, std::string> cases[] = {
        {"export", [] { return Zev_Comm_PWM_Init(999); }, 0, "999", ""},
        {"unexport", [] { return Zev_Comm_PWM_Deinit(8); }, 0, "8", ""},
        {"pwm2/period", [] { return Zev_Comm_PWM_Set_Frequency(2, 9999999); }, 0, "9999999", ""},
        {"pwm2/duty_cycle", [] { return Zev_Comm_PWM_Set_DutyCycle(2, -999999); }, 0, "-999999", ""},
        {"pwm2/polarity", [] { return Zev_Comm_PWM_Set_Polarity(2, -5); }, 0, "inversed", ""},
        {"pwm2/polarity", [] { return Zev_Comm_PWM_Set_Polarity(2, 0); }, 0, "normal", ""},
        {"pwm2/enable", [] { return Zev_Comm_PWM_Start(2); }, 0, "1", ""},
        {"pwm2/enable", [] { return Zev_Comm_PWM_Stop(2); }, 0, "0", ""},
        {"export", [] { return Zev_Comm_PWM_Init(1000); }, -1, "", "Init :pwm[1000]" + range},
        {"export", [] { return Zev_Comm_PWM_Init(-100); }, -1, "", "Init :pwm[-100]" + range},
        {"pwm2/period", [] { return Zev_Comm_PWM_Set_Frequency(2, 10000000); }, -1, "",
         "Set_Frequency :value[10000000]" + range},
        {"pwm2/duty_cycle", [] { return Zev_Comm_PWM_Set_DutyCycle(2, -1000000); }, -1, "",
         "Set_DutyCycle :value[-1000000]" + range}};
    for (const auto &[file, call, result, text, line] : cases) {
        ASSERT_TRUE(bed_->write(kChip + file, ""));
        const Lines lines = line.empty() ? Lines{} : Lines{"DBG Zev_Comm_PWM_" + line};
        EXPECT_EQ(logged(call), std::make_pair(result, lines)) << file << " " << text;
        EXPECT_EQ(bed_->read(kChip + file), text) << file;
    }
    // Without the controller (SetStatus below shows the other operations).
    ASSERT_TRUE(bed_->remove(kChip));
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_Deinit(4); }),
              std::make_pair(-1, Lines{"INF Zev_Comm_PWM_Deinit :no export gpio[4]\n"}));
}

TEST_F(Pwm, DutyCycleReadsBack) {
    // Only 19 characters are read; an unexported channel reads as 0, silently.
    // clang-format off
    for (const auto &[text, value] : {std::pair<std::string, int32_t>{"-3", -3}, {"abc\n", 0},
                                      {"0000000000000000001234\n", 1}, {"0000000000000000012\n", 12}}) {
        // clang-format on
        ASSERT_TRUE(bed_->write(kChip + "pwm5/duty_cycle", text));
        EXPECT_EQ(Zev_Comm_PWM_Get_DutyCycle(5), value) << text;
    }
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_Get_DutyCycle(6); }), std::make_pair(0, Lines{}));
}

TEST_F(Pwm, SetStatusSwitchesOnInOrderAndOffWithinTheLimit) {
    // Channel, enable, result, then enable, period and duty_cycle afterwards.
    // clang-format off
    const std::tuple<int, uint8_t, int32_t, std::string, std::string, std::string> cases[] = {
        {8, 1, 0, "1", "40000", "10000"}, {12, 1, 0, "1", "40000", "10000"}, {7, 0, 0, "0", "", ""},
        {-1, 0, 0, "0", "", ""}, {8, 0, -1, "", "", ""}};  // -1: the limit compares signed
    // clang-format on
    for (const auto &[ch, enable, result, on, period, duty] : cases) {
        const std::string dir = kChip + "pwm" + std::to_string(ch) + "/";
        for (const char *a : {"period", "duty_cycle", "enable"}) ASSERT_TRUE(bed_->write(dir + a, ""));
        PWM_STATUS_S status = {12345, 10000, 40000, enable};
        const Lines lines = {"INF Zev_Comm_PWM_SetStatus :The pwm number is big than the max value!\n"};
        EXPECT_EQ(logged([&, c = ch] { return Zev_Comm_PWM_SetStatus(c, &status); }),
                  std::make_pair(result, result == 0 ? Lines{} : lines))
            << ch;
        EXPECT_EQ(std::make_tuple(bed_->read(dir + "enable"), bed_->read(dir + "period"),
                                  bed_->read(dir + "duty_cycle")),
                  std::make_tuple(on, period, duty))
            << ch;
    }
    // No channel folder: each step logs under its own name, in call order,
    // and the result stays 0.
    const std::string fail = " :fail to export pwm[3]\n";
    PWM_STATUS_S on = {0, 1, 2, 1}, off = {0, 1, 2, 0};
    EXPECT_EQ(
        logged([&] { return Zev_Comm_PWM_SetStatus(3, &on); }),
        std::make_pair(0, Lines{"INF Zev_Comm_PWM_Stop" + fail, "INF Zev_Comm_PWM_Set_Frequency" + fail,
                                "INF Zev_Comm_PWM_Set_DutyCycle" + fail, "INF Zev_Comm_PWM_Start" + fail}));
    EXPECT_EQ(logged([&] { return Zev_Comm_PWM_SetStatus(3, &off); }),
              std::make_pair(0, Lines{"INF Zev_Comm_PWM_Stop" + fail}));
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_SetStatus(3, nullptr); }),
              std::make_pair(-1, Lines{"ERR Zev_Comm_PWM_SetStatus :pointer[pstStatus] is NULL\n"}));
}

}  // namespace
