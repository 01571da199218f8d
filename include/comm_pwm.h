// SPDX-License-Identifier: MIT
/** @file
 * libcomm PWM over the kernel's sysfs class, controller pwmchip0
 * (/sys/class/pwm/pwmchip0).
 *
 * Every call opens one attribute, writes (or reads) one short text and
 * closes it; the library keeps no state about channels. Writes carry the
 * text's length and no terminator ("1", "normal", "20000"). The order of use
 * is the kernel's: Zev_Comm_PWM_Init creates the channel's folder pwmN and
 * the other calls need it; Zev_Comm_PWM_Deinit removes it. Only the open is
 * tested: a value the kernel refuses (a period below the duty cycle, a
 * channel exported twice) still gives 0.
 *
 * Units are the kernel's: periods and duty cycles are nanoseconds, written
 * unchanged. Zev_Comm_PWM_Set_Frequency takes a period, not a frequency.
 *
 * Limits: the channel number text for export/unexport holds three
 * characters (-99 to 999) and a value text seven (-999999 to 9999999).
 * A number that does not fit is refused with -1 and the DBG line
 * "pwm[%d] out of range\n" (or "value[%d] out of range\n"); nothing is opened
 * or written, so the kernel never sees a cut number.
 *
 * Threads: no state, no lock; calls may come from any thread.
 */
#ifndef COMM_PWM_H
#define COMM_PWM_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** What Zev_Comm_PWM_SetStatus switches a channel to. */
typedef struct {
    int32_t s32Rsv;    /* not read by the library */
    int32_t s32Duty;   /* duty cycle (active time), nanoseconds */
    int32_t s32Period; /* period, nanoseconds */
    uint8_t bEnable;   /* nonzero: on; 0: off. Only this byte is tested. */
} PWM_STATUS_S;

/** Writes the channel to pwmchip0/export. 0; -1 and INF
 * "fail to export pwm[%d]\n" when the attribute cannot be opened. */
COMM_API int32_t Zev_Comm_PWM_Init(int32_t pwm);

/** Writes the channel to pwmchip0/unexport. 0; -1 and INF
 * "no export gpio[%d]\n" when the attribute cannot be opened. */
COMM_API int32_t Zev_Comm_PWM_Deinit(int32_t pwm);

/** Writes iPeriod (nanoseconds) to pwmN/period. 0, or -1. */
COMM_API int32_t Zev_Comm_PWM_Set_Frequency(int32_t pwm, int32_t iPeriod);

/** Writes iDuty (nanoseconds) to pwmN/duty_cycle. 0, or -1. */
COMM_API int32_t Zev_Comm_PWM_Set_DutyCycle(int32_t pwm, int32_t iDuty);

/** Writes "inversed" (bInversed nonzero) or "normal" to pwmN/polarity. 0, or -1. */
COMM_API int32_t Zev_Comm_PWM_Set_Polarity(int32_t pwm, int32_t bInversed);

/** The number in pwmN/duty_cycle (at most 19 characters are read); 0 when it
 * cannot be read, the same as a real duty cycle of 0. Logs nothing. */
COMM_API int32_t Zev_Comm_PWM_Get_DutyCycle(int32_t pwm);

/** Writes "1" to pwmN/enable. 0, or -1. */
COMM_API int32_t Zev_Comm_PWM_Start(int32_t pwm);

/** Writes "0" to pwmN/enable. 0, or -1. */
COMM_API int32_t Zev_Comm_PWM_Stop(int32_t pwm);

/** bEnable nonzero: Stop, Set_Frequency(s32Period), Set_DutyCycle(s32Duty),
 * Start, in this order, results ignored, 0 (any channel number).
 * bEnable 0: a channel above 7 gives INF
 * "The pwm number is big than the max value!\n" and -1 with nothing touched
 * (negative channels pass); otherwise Stop, result ignored, 0.
 * A null pstStatus is refused with -1 and the ERR line of the pointer check. */
COMM_API int32_t Zev_Comm_PWM_SetStatus(int32_t pwm, PWM_STATUS_S *pstStatus);

COMM_END_DECLS

#endif /* COMM_PWM_H */
