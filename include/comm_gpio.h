// SPDX-License-Identifier: MIT
/** @file
 * libcomm GPIO over the kernel's sysfs class (/sys/class/gpio).
 *
 * Every call opens one attribute, makes one transfer and closes it; nothing
 * is cached. Writes are always exactly 4 bytes: the number's text and the
 * zero bytes behind it (pin 33 -> "33\0\0"). The order of use is the
 * kernel's: export, direction, value, unexport; the library checks none of
 * it, and a write the kernel refuses is not seen.
 *
 * Pin -1 means "no pin" and is refused with -1. Pins and values must fit in
 * three characters (-99 to 999): other numbers are refused with -1 and the
 * DBG line "gpio[%d] out of range\n" (or "value[%d] out of range\n"), and
 * nothing is opened.
 */
#ifndef COMM_GPIO_H
#define COMM_GPIO_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Writes the pin to /sys/class/gpio/export. 0, or -1 (pin -1, open failed). */
COMM_API int32_t Zev_Comm_Gpio_Export(int32_t gpio);

/** Writes the pin to /sys/class/gpio/unexport. 0, or -1. */
COMM_API int32_t Zev_Comm_Gpio_Unexport(int32_t gpio);

/** Writes 4 bytes of pDir ("out", or "in" in a 4-byte buffer) to the pin's
 * direction attribute. pDir must have 4 readable bytes. 0, or -1. */
COMM_API int32_t Zev_Comm_Gpio_SetDirection(int32_t gpio, const char *pDir);

/** The number in the pin's value attribute (0 or 1; an empty text gives 0),
 * or -1 when the pin is -1 or the attribute cannot be opened. */
COMM_API int32_t Zev_Comm_Gpio_GetVal(int32_t gpio);

/** Writes iVal to the pin's value attribute. 0, or -1. */
COMM_API int32_t Zev_Comm_Gpio_SetVal(int32_t gpio, int32_t iVal);

COMM_END_DECLS

#endif /* COMM_GPIO_H */
