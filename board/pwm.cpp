// SPDX-License-Identifier: MIT
// PWM over the kernel's sysfs class: one open, one transfer, one close.
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/sysfs.hpp"
#include "board_sysfs.h"
#include "comm_log.h"
#include "comm_pwm.h"
#include "frame/handles.hpp"
#include "frame/number_text.hpp"

namespace comm {
namespace {

constexpr const char *kExportPath = COMM_PWM_EXPORT;
constexpr const char *kUnexportPath = COMM_PWM_UNEXPORT;
constexpr const char *kPeriodTemplate = COMM_PWM_CHANNEL_ATTR(COMM_PWM_PERIOD);
constexpr const char *kDutyTemplate = COMM_PWM_CHANNEL_ATTR(COMM_PWM_DUTY_CYCLE);
constexpr const char *kPolarityTemplate = COMM_PWM_CHANNEL_ATTR(COMM_PWM_POLARITY);
constexpr const char *kEnableTemplate = COMM_PWM_CHANNEL_ATTR(COMM_PWM_ENABLE);

constexpr int32_t kMaxSwitchOffChannel = 7;

// Fixed text buffers; their sizes are limits of the interface.
template <size_t N>
struct Text {
    char text[N] = {};
};
using ChannelText = Text<4>;  // export/unexport: three characters
using ValueText = Text<8>;    // period, duty_cycle, enable: seven characters
using Path = Text<64>;
using ReadText = Text<20>;  // duty_cycle read back: nineteen characters

bool fits_channel_text(int32_t v) { return v >= -99 && v <= 999; }
bool fits_value_text(int32_t v) { return v >= -999999 && v <= 9999999; }

template <size_t N>
Text<N> print_number(int32_t value) {
    Text<N> t;
    snprintf(t.text, sizeof t.text, "%d", value);
    return t;
}

Path channel_path(const char *path_template, int32_t pwm) {
    Path p;
    snprintf(p.text, sizeof p.text, path_template, pwm);
    return p;
}

// PWM attributes take the text's own length.
bool write_text_attribute(const char *path, const char *text) {
    return write_attribute(path, text, strlen(text));
}

// The writing operation of every attribute but unexport: its open failure is
// logged in the name of the exported function that asked.
int32_t write_channel_attribute(const char *name, int32_t pwm, const char *path_template, const char *text) {
    const Path path = channel_path(path_template, pwm);
    if (!write_text_attribute(path.text, text)) {
        ZEV_COMM_LOG_AS(INF, name, "fail to export pwm[%d]\n", pwm);
        return -1;
    }
    return 0;
}

int32_t write_value(const char *name, int32_t pwm, const char *path_template, int32_t value) {
    if (!fits_value_text(value)) {
        ZEV_COMM_LOG_AS(DBG, name, "value[%d] out of range\n", value);
        return -1;
    }
    const ValueText number = print_number<sizeof(ValueText::text)>(value);
    return write_channel_attribute(name, pwm, path_template, number.text);
}

// export and unexport: the channel's number text to the controller's file.
int32_t write_chip_file(const char *name, const char *path, int32_t pwm, bool unexport) {
    if (!fits_channel_text(pwm)) {
        ZEV_COMM_LOG_AS(DBG, name, "pwm[%d] out of range\n", pwm);
        return -1;
    }
    const ChannelText number = print_number<sizeof(ChannelText::text)>(pwm);
    if (write_text_attribute(path, number.text)) return 0;
    if (unexport) {
        ZEV_COMM_LOG_AS(INF, name, "no export gpio[%d]\n", pwm);
    } else {
        ZEV_COMM_LOG_AS(INF, name, "fail to export pwm[%d]\n", pwm);
    }
    return -1;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_PWM_Init(int32_t pwm) {
    return comm::write_chip_file(__func__, comm::kExportPath, pwm, false);
}

COMM_API int32_t Zev_Comm_PWM_Deinit(int32_t pwm) {
    return comm::write_chip_file(__func__, comm::kUnexportPath, pwm, true);
}

COMM_API int32_t Zev_Comm_PWM_Set_Frequency(int32_t pwm, int32_t iPeriod) {
    return comm::write_value(__func__, pwm, comm::kPeriodTemplate, iPeriod);
}

COMM_API int32_t Zev_Comm_PWM_Set_DutyCycle(int32_t pwm, int32_t iDuty) {
    return comm::write_value(__func__, pwm, comm::kDutyTemplate, iDuty);
}

COMM_API int32_t Zev_Comm_PWM_Set_Polarity(int32_t pwm, int32_t bInversed) {
    comm::Text<32> polarity;
    snprintf(polarity.text, sizeof polarity.text, "%s", bInversed ? "inversed" : "normal");
    return comm::write_channel_attribute(__func__, pwm, comm::kPolarityTemplate, polarity.text);
}

COMM_API int32_t Zev_Comm_PWM_Get_DutyCycle(int32_t pwm) {
    const comm::Path path = comm::channel_path(comm::kDutyTemplate, pwm);
    comm::ReadText value;
    comm::UniqueFd fd(open(path.text, O_RDONLY));
    if (fd) (void)!read(fd.get(), value.text, sizeof value.text - 1);
    return comm::atoi32(value.text);
}

COMM_API int32_t Zev_Comm_PWM_Start(int32_t pwm) {
    return comm::write_channel_attribute(__func__, pwm, comm::kEnableTemplate, "1");
}

COMM_API int32_t Zev_Comm_PWM_Stop(int32_t pwm) {
    return comm::write_channel_attribute(__func__, pwm, comm::kEnableTemplate, "0");
}

COMM_API int32_t Zev_Comm_PWM_SetStatus(int32_t pwm, PWM_STATUS_S *pstStatus) {
    ZEV_COMM_CHECK_POINTER(pstStatus);
    if (pstStatus->bEnable != 0) {
        Zev_Comm_PWM_Stop(pwm);
        Zev_Comm_PWM_Set_Frequency(pwm, pstStatus->s32Period);
        Zev_Comm_PWM_Set_DutyCycle(pwm, pstStatus->s32Duty);
        Zev_Comm_PWM_Start(pwm);
        return 0;
    }
    if (pwm > comm::kMaxSwitchOffChannel) {
        ZEV_COMM_INF("The pwm number is big than the max value!\n");
        return -1;
    }
    Zev_Comm_PWM_Stop(pwm);
    return 0;
}

}  // extern "C"
