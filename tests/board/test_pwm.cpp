// PWM over a simulated sysfs: the strlen writes, the duty cycle read back,
// SetStatus's order and channel limit, the results and log lines.
#include <gtest/gtest.h>

#include <string>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_pwm.h"
#include "log_lines.hpp"
#include "testbed.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;
using Lines = std::vector<std::string>;

namespace {

const std::string kChip = "/sys/class/pwm/pwmchip0";

class Pwm : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        bed_ = std::make_unique<testsupport::Testbed>();
        ASSERT_TRUE(bed_->write(kChip + "/export", ""));
        ASSERT_TRUE(bed_->write(kChip + "/unexport", ""));
        Zev_Comm_SetPrintLev(5);
    }
    // A channel folder as the kernel makes it on export.
    void add_channel(int ch) {
        for (const char *attr : {"period", "duty_cycle", "polarity", "enable"})
            ASSERT_TRUE(bed_->write(channel(ch, attr), ""));
    }
    static std::string channel(int ch, const std::string &attr) {
        return kChip + "/pwm" + std::to_string(ch) + "/" + attr;
    }
    std::string attr(int ch, const std::string &name) const { return bed_->read(channel(ch, name)); }
    std::unique_ptr<testsupport::Testbed> bed_;
};

TEST_F(Pwm, ExportAndUnexportWriteTheNumberWithoutTerminator) {
    for (const int ch : {0, 7, 8, 999, -99}) {
        int r = 9;
        auto lines = summarise(capture_stdout([&] { r = Zev_Comm_PWM_Init(ch); }));
        EXPECT_EQ(r, 0);
        EXPECT_EQ(bed_->read(kChip + "/export"), std::to_string(ch));
        EXPECT_TRUE(lines.empty());
        EXPECT_EQ(Zev_Comm_PWM_Deinit(ch), 0);
        EXPECT_EQ(bed_->read(kChip + "/unexport"), std::to_string(ch));
    }
    // Exporting twice is the kernel's business: 0 both times.
    EXPECT_EQ(Zev_Comm_PWM_Init(3), 0);
    EXPECT_EQ(Zev_Comm_PWM_Init(3), 0);
}

TEST_F(Pwm, ChannelAttributesGetTheirTexts) {
    add_channel(2);
    const struct {
        const char *op;
        int32_t (*call)();
        const char *attr;
        std::string text;
    } cases[] = {
        {"period", [] { return Zev_Comm_PWM_Set_Frequency(2, 1000000); }, "period", "1000000"},
        {"period max", [] { return Zev_Comm_PWM_Set_Frequency(2, 9999999); }, "period", "9999999"},
        {"duty", [] { return Zev_Comm_PWM_Set_DutyCycle(2, 250); }, "duty_cycle", "250"},
        {"duty 0", [] { return Zev_Comm_PWM_Set_DutyCycle(2, 0); }, "duty_cycle", "0"},
        {"duty negative", [] { return Zev_Comm_PWM_Set_DutyCycle(2, -999999); }, "duty_cycle", "-999999"},
        {"inversed", [] { return Zev_Comm_PWM_Set_Polarity(2, 1); }, "polarity", "inversed"},
        {"inversed any flag", [] { return Zev_Comm_PWM_Set_Polarity(2, -5); }, "polarity", "inversed"},
        {"normal", [] { return Zev_Comm_PWM_Set_Polarity(2, 0); }, "polarity", "normal"},
        {"start", [] { return Zev_Comm_PWM_Start(2); }, "enable", "1"},
        {"stop", [] { return Zev_Comm_PWM_Stop(2); }, "enable", "0"},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(bed_->write(channel(2, c.attr), ""));
        int r = 9;
        const auto lines = summarise(capture_stdout([&] { r = c.call(); }));
        EXPECT_EQ(r, 0) << c.op;
        EXPECT_EQ(attr(2, c.attr), c.text) << c.op;  // exactly strlen bytes
        EXPECT_TRUE(lines.empty()) << c.op;
    }
}

TEST_F(Pwm, OpenFailuresLogUnderTheOperationsName) {
    ASSERT_TRUE(bed_->remove(kChip));
    const struct {
        int32_t (*call)();
        std::string line;
    } cases[] = {
        {[] { return Zev_Comm_PWM_Init(4); }, "INF Zev_Comm_PWM_Init :fail to export pwm[4]\n"},
        {[] { return Zev_Comm_PWM_Deinit(4); }, "INF Zev_Comm_PWM_Deinit :no export gpio[4]\n"},
        {[] { return Zev_Comm_PWM_Set_Frequency(4, 10); },
         "INF Zev_Comm_PWM_Set_Frequency :fail to export pwm[4]\n"},
        {[] { return Zev_Comm_PWM_Set_DutyCycle(4, 10); },
         "INF Zev_Comm_PWM_Set_DutyCycle :fail to export pwm[4]\n"},
        {[] { return Zev_Comm_PWM_Set_Polarity(4, 0); },
         "INF Zev_Comm_PWM_Set_Polarity :fail to export pwm[4]\n"},
        {[] { return Zev_Comm_PWM_Start(4); }, "INF Zev_Comm_PWM_Start :fail to export pwm[4]\n"},
        {[] { return Zev_Comm_PWM_Stop(4); }, "INF Zev_Comm_PWM_Stop :fail to export pwm[4]\n"},
    };
    for (const auto &c : cases) {
        int r = 0;
        const auto lines = summarise(capture_stdout([&] { r = c.call(); }));
        EXPECT_EQ(r, -1) << c.line;
        EXPECT_EQ(lines, Lines{c.line});
    }
}

TEST_F(Pwm, NumbersThatDoNotFitAreRefusedBeforeAnyWrite) {
    add_channel(1);
    const struct {
        int32_t (*call)();
        const char *file;
        std::string line;
    } cases[] = {
        {[] { return Zev_Comm_PWM_Init(1000); }, "export", "DBG Zev_Comm_PWM_Init :pwm[1000] out of range\n"},
        {[] { return Zev_Comm_PWM_Init(-100); }, "export", "DBG Zev_Comm_PWM_Init :pwm[-100] out of range\n"},
        {[] { return Zev_Comm_PWM_Deinit(1000); }, "unexport",
         "DBG Zev_Comm_PWM_Deinit :pwm[1000] out of range\n"},
        {[] { return Zev_Comm_PWM_Set_Frequency(1, 10000000); }, "pwm1/period",
         "DBG Zev_Comm_PWM_Set_Frequency :value[10000000] out of range\n"},
        {[] { return Zev_Comm_PWM_Set_DutyCycle(1, -1000000); }, "pwm1/duty_cycle",
         "DBG Zev_Comm_PWM_Set_DutyCycle :value[-1000000] out of range\n"},
    };
    for (const auto &c : cases) {
        int r = 0;
        const auto lines = summarise(capture_stdout([&] { r = c.call(); }));
        EXPECT_EQ(r, -1) << c.line;
        EXPECT_EQ(lines, Lines{c.line});
        EXPECT_EQ(bed_->read(kChip + "/" + c.file), "") << c.line;
    }
}

TEST_F(Pwm, DutyCycleReadsBack) {
    add_channel(5);
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
        ASSERT_TRUE(bed_->write(channel(5, "duty_cycle"), c.text));
        EXPECT_EQ(Zev_Comm_PWM_Get_DutyCycle(5), c.value) << c.text;
    }
    int r = 1;
    // An unexported channel reads as 0, silently.
    const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_PWM_Get_DutyCycle(6); }));
    EXPECT_EQ(r, 0);
    EXPECT_TRUE(lines.empty());
}

TEST_F(Pwm, SetStatusSwitchesOnInOrderAndOffWithinTheLimit) {
    for (const int ch : {7, 8, 12, -1}) add_channel(ch);
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
        for (const char *a : {"period", "duty_cycle", "enable"})
            ASSERT_TRUE(bed_->write(channel(c.ch, a), ""));
        PWM_STATUS_S status = {12345, 10000, 40000, c.enable};
        int r = 9;
        const auto lines = summarise(capture_stdout([&] { r = Zev_Comm_PWM_SetStatus(c.ch, &status); }));
        EXPECT_EQ(r, c.result) << c.ch;
        EXPECT_EQ(attr(c.ch, "enable"), c.enable_text) << c.ch;
        EXPECT_EQ(attr(c.ch, "period"), c.period) << c.ch;
        EXPECT_EQ(attr(c.ch, "duty_cycle"), c.duty) << c.ch;
        EXPECT_EQ(lines, c.lines) << c.ch;
    }
}

TEST_F(Pwm, SetStatusHidesEveryFailureAndShowsItsSteps) {
    PWM_STATUS_S on = {0, 1, 2, 1};
    int r = 9;
    // No channel folder: each step logs under its own name, in call order.
    auto lines = summarise(capture_stdout([&] { r = Zev_Comm_PWM_SetStatus(3, &on); }));
    EXPECT_EQ(r, 0);
    EXPECT_EQ(lines, (Lines{"INF Zev_Comm_PWM_Stop :fail to export pwm[3]\n",
                            "INF Zev_Comm_PWM_Set_Frequency :fail to export pwm[3]\n",
                            "INF Zev_Comm_PWM_Set_DutyCycle :fail to export pwm[3]\n",
                            "INF Zev_Comm_PWM_Start :fail to export pwm[3]\n"}));
    // Only the enable byte counts: the other bytes of the word are ignored.
    PWM_STATUS_S off = {0, 1, 2, 0};
    lines = summarise(capture_stdout([&] { r = Zev_Comm_PWM_SetStatus(3, &off); }));
    EXPECT_EQ(r, 0);
    EXPECT_EQ(lines, Lines{"INF Zev_Comm_PWM_Stop :fail to export pwm[3]\n"});
    lines = summarise(capture_stdout([&] { r = Zev_Comm_PWM_SetStatus(3, nullptr); }));
    EXPECT_EQ(r, -1);
    EXPECT_EQ(lines, Lines{"ERR Zev_Comm_PWM_SetStatus :pointer[pstStatus] is NULL\n"});
}

}  // namespace
