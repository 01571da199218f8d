// SPDX-License-Identifier: MIT
/* The hand-over between the system clock and the board's hardware clock:
 * the library runs these commands, and the board (or boardsim's stand-in
 * for hwclock) has to answer them. Plain C with no includes. */
#ifndef COMM_DEVICES_RTC_CLOCK_H
#define COMM_DEVICES_RTC_CLOCK_H

#define COMM_HWCLOCK "hwclock"
/* Loads the system clock from the hardware clock. */
#define COMM_HWCLOCK_TO_SYSTEM "--hctosys"
/* Saves the system clock to the hardware clock. */
#define COMM_HWCLOCK_FROM_SYSTEM "--systohc"

#define COMM_RTC_TO_SYSTEM_CMD COMM_HWCLOCK " " COMM_HWCLOCK_TO_SYSTEM
#define COMM_SYSTEM_TO_RTC_CMD COMM_HWCLOCK " " COMM_HWCLOCK_FROM_SYSTEM

#endif
