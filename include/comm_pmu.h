// SPDX-License-Identifier: MIT
/** @file
 * libcomm client of the power-management chip's driver (/dev/ip_6303).
 *
 * Each operation is one ioctl on one descriptor that the first operation
 * opens and that then stays open to the end of the process. A device that
 * is missing is looked for again by the next operation, so one that shows
 * up late is picked up. There is no error code: every operation has a
 * fall-back value for "no device" and one for "request failed", given below
 * as (no device / request fails). A missing device logs ERR "%s not exist\n"
 * (when the path is absent), "open [%s] failed\n" and "pmu not initialized,
 * please initialized first\n"; a failed request logs ERR "failed\n".
 *
 * The words are the driver's: the library passes them through unchanged
 * (only Zev_Pmu_GetType normalises).
 *
 * Threading: no lock. Two threads making the very first call at once may
 * both open the device; one descriptor is then kept and the other leaks.
 */
#ifndef COMM_PMU_H
#define COMM_PMU_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** External DC state as the driver gives it (1 / 0). */
COMM_API int32_t Zev_Pmu_IsDcIn(void);

/** ACC state as the driver gives it (1 / 0). */
COMM_API int32_t Zev_Pmu_IsAccOn(void);

/** The boot word, a bit pattern; logs INF ":0x%x\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_GetBootRes(void);

/** 1 when the driver's type word is nonzero, else 0 (0 / 0). */
COMM_API int32_t Zev_Pmu_GetType(void);

/** Sends the cap value 240 and returns the word the driver hands back;
 * logs WAR ":%d mA\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_SetCap(void);

/** Voltage in mV; logs "%d mv\n" at WAR when bShow is nonzero, else at VER.
 * The result does not depend on bShow (0 / 0). */
COMM_API int32_t Zev_Pmu_GetVoltage(int32_t bShow);

/** Sends the charge current in mA and returns the word the driver hands
 * back; logs VER "%d mA\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_SetChargeCurrent(int32_t iCurrent);

/** Charge current in mA; logs VER "%d mA\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_GetChargeCurrent(void);

/** NTC temperature in whole degrees; 37 in temperature test mode, without a
 * request but only with the device open. Logs VER "%d du\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_GetNtcTemperature(void);

/** Hands iValue to the driver and returns the word it hands back (0 / 0). */
COMM_API int32_t Zev_Pmu_PowerOff(int32_t iValue);

/** Hands iTimeOut to the driver. Always 0. */
COMM_API int32_t Zev_Pmu_SetPowerOffTimeOut(int32_t iTimeOut);

/** The key word, unchanged: nonzero is down. Logs VER "pwrkey:DOWN\n" or
 * "pwrkey:UP\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_IsPowerKeyPressed(void);

/** SD state as the driver gives it; logs VER "SD_In:%d\n" (0 / 0). */
COMM_API int32_t Zev_Pmu_GetSDInsterStat(void);

COMM_END_DECLS

#endif /* COMM_PMU_H */
