// SPDX-License-Identifier: MIT
/** @file
 * libcomm board switches and temperature: the kernel command line test and
 * the temperature test mode ("ft=TEMP") that hangs on it, the CPU
 * temperature with its override, the touch and USB switches, and the console
 * redirection.
 *
 * Threading: no lock. The override, the test mode answer and the
 * first-call flag are plain words.
 */
#ifndef COMM_BOARD_H
#define COMM_BOARD_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** CPU temperature override in whole degrees; 0 is no override. Written by
 * Zev_Comm_SetCpuTemp, or directly by an application. */
COMM_API extern int32_t s_iCpuTempTest;

/** 1 when pNeedle occurs anywhere in the first 1024 bytes of /proc/cmdline
 * (a plain substring test, also inside a longer word), else 0. An empty
 * needle gives 1, also when the command line cannot be read. The first call
 * of the process logs WAR "cmdline[NEEDLE]: LINE\n"; a match logs VER
 * "get cmdline: ...\n". */
COMM_API int32_t Zev_Comm_CheckCmdLime(const char *pNeedle);

/** 1 when the kernel command line holds "ft=TEMP", else 0. The command line
 * is read at the first call only; the answer stands to the end of the
 * process. */
COMM_API int32_t Zev_Comm_IsTempTestMode(void);

/** CPU temperature in whole degrees, from the first source that answers: the
 * override when nonzero; 66 in temperature test mode; else the number behind
 * the 12-byte prefix of /sys/devices/virtual/mstar/msys/TEMP_R (a text of
 * 12 bytes or fewer reads 0). 0 when the attribute cannot be read. */
COMM_API int32_t Zev_Comm_GetCPUTemp(void);

/** Sets the override (0 ends it; a reading of 0 cannot be forced) and logs
 * INF "%d du\n". */
COMM_API void Zev_Comm_SetCpuTemp(int32_t iTemp);

/** Writes "0" (bIgnore nonzero: touches are ignored) or "1" to the touch
 * controller's interrupt switch. A missing attribute ends the call quietly. */
COMM_API void Zev_Comm_SetTouchIgnore(int32_t bIgnore);

/** Exports GPIO 33, makes it an output and sets it to 1 when bSwitch is 0,
 * to 0 otherwise. Returns the result of setting the value: 0, or -1. */
COMM_API int32_t Zev_Comm_UsbSwitcher(int32_t bSwitch);

/** Redirects the console to the terminal at path (TIOCCONS). Logs the
 * current terminal of standard output first (WAR " get ttyname error \n"
 * when it is none); a path that cannot be opened ends the call without a
 * further line; a refused request still logs DBG "conlose change to %s\n". */
COMM_API void Zev_Change_Console(const char *path);

COMM_END_DECLS

#endif /* COMM_BOARD_H */
