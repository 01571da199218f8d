// SPDX-License-Identifier: MIT
// GPIO over the kernel's sysfs class: one open, one transfer, one close.
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>

#include "board/sysfs.hpp"
#include "board_sysfs.h"
#include "comm_gpio.h"
#include "comm_log.h"
#include "frame/handles.hpp"
#include "frame/number_text.hpp"

namespace comm {
namespace {

constexpr const char *kExportPath = COMM_GPIO_EXPORT;
constexpr const char *kUnexportPath = COMM_GPIO_UNEXPORT;
constexpr const char *kDirectionTemplate = COMM_GPIO_PIN_ATTR(COMM_GPIO_DIRECTION);
constexpr const char *kValueTemplate = COMM_GPIO_PIN_ATTR(COMM_GPIO_VALUE);

constexpr int kNoPin = -1;
constexpr size_t kNumberTextSize = 4;  // three characters and the terminator
constexpr size_t kPathSize = 48;
constexpr size_t kValueTextSize = 10;

// The kernel always gets exactly this many bytes: the text and its zeroes.
constexpr size_t kWriteSize = 4;

struct NumberText {
    char text[kNumberTextSize] = {};
};

// A number fits the 4-byte text when it has at most three characters.
bool fits_number_text(int32_t value) { return value >= -99 && value <= 999; }

NumberText number_text(int32_t value) {
    NumberText n;
    snprintf(n.text, sizeof n.text, "%d", value);
    return n;
}

struct Path {
    char text[kPathSize] = {};
};

Path pin_path(const char *path_template, int32_t gpio) {
    Path p;
    snprintf(p.text, sizeof p.text, path_template, gpio);
    return p;
}

// GPIO attributes always take 4 bytes: the text and the zeroes behind it.
bool write_pin_attribute(const char *path, const char *bytes) {
    return write_attribute(path, bytes, kWriteSize);
}

}  // namespace
}  // namespace comm

using comm::fits_number_text;
using comm::kNoPin;

#define GPIO_CHECK_PIN_FITS(gpio)                            \
    do {                                                     \
        if (!fits_number_text(gpio)) {                       \
            ZEV_COMM_DBG("gpio[%d] out of range\n", (gpio)); \
            return -1;                                       \
        }                                                    \
    } while (0)

extern "C" {

COMM_API int32_t Zev_Comm_Gpio_Export(int32_t gpio) {
    if (gpio == kNoPin) {
        ZEV_COMM_DBG("gpio=-1\n");
        return -1;
    }
    GPIO_CHECK_PIN_FITS(gpio);
    const comm::NumberText pin = comm::number_text(gpio);
    if (!comm::write_pin_attribute(comm::kExportPath, pin.text)) {
        ZEV_COMM_DBG("fail to export gpio[%d]\n", gpio);
        return -1;
    }
    ZEV_COMM_DDD("export gpio[%d] ok\n", gpio);
    return 0;
}

COMM_API int32_t Zev_Comm_Gpio_Unexport(int32_t gpio) {
    if (gpio == kNoPin) return -1;
    GPIO_CHECK_PIN_FITS(gpio);
    const comm::NumberText pin = comm::number_text(gpio);
    if (!comm::write_pin_attribute(comm::kUnexportPath, pin.text)) {
        ZEV_COMM_DBG("no export gpio[%d]\n", gpio);
        return -1;
    }
    return 0;
}

COMM_API int32_t Zev_Comm_Gpio_SetDirection(int32_t gpio, const char *pDir) {
    if (gpio == kNoPin) return -1;
    GPIO_CHECK_PIN_FITS(gpio);
    const comm::Path path = comm::pin_path(comm::kDirectionTemplate, gpio);
    if (!comm::write_pin_attribute(path.text, pDir)) {
        ZEV_COMM_DBG("fail direction[%s] gpio[%d]\n", pDir, gpio);
        return -1;
    }
    return 0;
}

COMM_API int32_t Zev_Comm_Gpio_GetVal(int32_t gpio) {
    if (gpio == kNoPin) return -1;
    GPIO_CHECK_PIN_FITS(gpio);
    const comm::Path path = comm::pin_path(comm::kValueTemplate, gpio);
    comm::UniqueFile f(fopen(path.text, "rb"));
    if (!f) {
        ZEV_COMM_DBG("fail to open gpio[%d]\n", gpio);
        return -1;
    }
    fseek(f.get(), 0, SEEK_END);
    const long size = ftell(f.get());
    rewind(f.get());
    char value[comm::kValueTextSize] = {};
    // Keep the last byte for the terminator whatever size the seek reported.
    size_t want = size > 0 ? static_cast<size_t>(size) : 0;
    if (want > sizeof value - 1) want = sizeof value - 1;
    (void)!fread(value, 1, want, f.get());
    return comm::atoi32(value);
}

COMM_API int32_t Zev_Comm_Gpio_SetVal(int32_t gpio, int32_t iVal) {
    if (gpio == kNoPin) return -1;
    GPIO_CHECK_PIN_FITS(gpio);
    if (!fits_number_text(iVal)) {
        ZEV_COMM_DBG("value[%d] out of range\n", iVal);
        return -1;
    }
    const comm::NumberText value = comm::number_text(iVal);
    const comm::Path path = comm::pin_path(comm::kValueTemplate, gpio);
    if (!comm::write_pin_attribute(path.text, value.text)) {
        ZEV_COMM_DBG("fail to open gpio[%d]\n", gpio);
        return -1;
    }
    return 0;
}

}  // extern "C"
