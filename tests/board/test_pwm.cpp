// PWM over a simulated sysfs: the strlen writes, the duty cycle read back,
// SetStatus's order and channel limit, the results and log lines.
#include <gtest/gtest.h>

#include "../media/media_test.hpp"
#include "comm_log.h"
#include "comm_pwm.h"
#include "testbed.hpp"

using testsupport::Lines;
using testsupport::logged;

namespace {

const std::string kChip = "/sys/class/pwm/pwmchip0/";

class Pwm : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<testsupport::Testbed>();
        Zev_Comm_SetPrintLev(5);
    }
    // Empty attribute files, as the kernel makes them on export.
    void clear(int ch) {
        for (const char *a : {"period", "duty_cycle", "enable"}) ASSERT_TRUE(bed_->write(attr(ch, a), ""));
    }
    static std::string attr(int ch, const std::string &name) {
        return kChip + "pwm" + std::to_string(ch) + "/" + name;
    }
    std::unique_ptr<testsupport::Testbed> bed_;
};

TEST_F(Pwm, WritesTheirTextsAndRefuseNumbersThatDoNotFit) {
    const auto range = [](const std::string &f, const char *what, int v) {
        return Lines{"DBG Zev_Comm_PWM_" + f + " :" + what + "[" + std::to_string(v) + "] out of range\n"};
    };
    const struct {
        const char *file;
        int32_t (*call)();
        int32_t result;
        std::string text;  // exactly strlen bytes
        Lines lines;
    } cases[] = {
        {"export", [] { return Zev_Comm_PWM_Init(0); }, 0, "0", {}},
        {"export", [] { return Zev_Comm_PWM_Init(999); }, 0, "999", {}},
        {"export", [] { return Zev_Comm_PWM_Init(-99); }, 0, "-99", {}},
        {"unexport", [] { return Zev_Comm_PWM_Deinit(8); }, 0, "8", {}},
        {"pwm2/period", [] { return Zev_Comm_PWM_Set_Frequency(2, 9999999); }, 0, "9999999", {}},
        {"pwm2/duty_cycle", [] { return Zev_Comm_PWM_Set_DutyCycle(2, 0); }, 0, "0", {}},
        {"pwm2/duty_cycle", [] { return Zev_Comm_PWM_Set_DutyCycle(2, -999999); }, 0, "-999999", {}},
        {"pwm2/polarity", [] { return Zev_Comm_PWM_Set_Polarity(2, -5); }, 0, "inversed", {}},
        {"pwm2/polarity", [] { return Zev_Comm_PWM_Set_Polarity(2, 0); }, 0, "normal", {}},
        {"pwm2/enable", [] { return Zev_Comm_PWM_Start(2); }, 0, "1", {}},
        {"pwm2/enable", [] { return Zev_Comm_PWM_Stop(2); }, 0, "0", {}},
        {"export", [] { return Zev_Comm_PWM_Init(1000); }, -1, "", range("Init", "pwm", 1000)},
        {"export", [] { return Zev_Comm_PWM_Init(-100); }, -1, "", range("Init", "pwm", -100)},
        {"unexport", [] { return Zev_Comm_PWM_Deinit(1000); }, -1, "", range("Deinit", "pwm", 1000)},
        {"pwm2/period", [] { return Zev_Comm_PWM_Set_Frequency(2, 10000000); }, -1, "",
         range("Set_Frequency", "value", 10000000)},
        {"pwm2/duty_cycle", [] { return Zev_Comm_PWM_Set_DutyCycle(2, -1000000); }, -1, "",
         range("Set_DutyCycle", "value", -1000000)},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->write(kChip + c.file, ""));
        EXPECT_EQ(logged(c.call), std::make_pair(c.result, c.lines)) << c.file << " " << c.text;
        EXPECT_EQ(bed_->read(kChip + c.file), c.text) << c.file;
    }
    // Without the controller every operation fails, logged under its own name.
    ASSERT_TRUE(bed_->remove(kChip));
    const std::string fail = " :fail to export pwm[4]\n";
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_Init(4); }),
              std::make_pair(-1, Lines{"INF Zev_Comm_PWM_Init" + fail}));
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_Deinit(4); }),
              std::make_pair(-1, Lines{"INF Zev_Comm_PWM_Deinit :no export gpio[4]\n"}));
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_Set_Polarity(4, 0); }),
              std::make_pair(-1, Lines{"INF Zev_Comm_PWM_Set_Polarity" + fail}));
}

TEST_F(Pwm, DutyCycleReadsBack) {
    const struct {
        std::string text;
        int32_t value;
    } cases[] = {
        {"500000\n", 500000},
        {"0\n", 0},
        {"", 0},
        {"abc\n", 0},
        {"-3", -3},
        {"0000000000000000001234\n", 1},  // only 19 characters are read
        {"0000000000000000012\n", 12},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->write(attr(5, "duty_cycle"), c.text));
        EXPECT_EQ(Zev_Comm_PWM_Get_DutyCycle(5), c.value) << c.text;
    }
    // An unexported channel reads as 0, silently.
    EXPECT_EQ(logged([] { return Zev_Comm_PWM_Get_DutyCycle(6); }), std::make_pair(0, Lines{}));
}

TEST_F(Pwm, SetStatusSwitchesOnInOrderAndOffWithinTheLimit) {
    const struct {
        int ch;
        uint8_t enable;
        int32_t result;
        std::string enable_text, period, duty;
        Lines lines;
    } cases[] = {
        {8, 1, 0, "1", "40000", "10000", {}},
        {12, 1, 0, "1", "40000", "10000", {}},
        {7, 0, 0, "0", "", "", {}},
        {-1, 0, 0, "0", "", "", {}},  // the limit compares signed
        {8, 0, -1, "", "", "", {"INF Zev_Comm_PWM_SetStatus :The pwm number is big than the max value!\n"}},
    };
    for (const auto &c : cases) {
        clear(c.ch);
        PWM_STATUS_S status = {12345, 10000, 40000, c.enable};
        EXPECT_EQ(logged([&] { return Zev_Comm_PWM_SetStatus(c.ch, &status); }),
                  std::make_pair(c.result, c.lines))
            << c.ch;
        EXPECT_EQ(bed_->read(attr(c.ch, "enable")), c.enable_text) << c.ch;
        EXPECT_EQ(bed_->read(attr(c.ch, "period")), c.period) << c.ch;
        EXPECT_EQ(bed_->read(attr(c.ch, "duty_cycle")), c.duty) << c.ch;
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
