// SPDX-License-Identifier: MIT
/* The PMU driver's interface: its node and its requests, shared by the
 * library's client, boardsim's model and the kernel lab's test-board module.
 * Plain C with no includes, so that a kernel module can use it as it is.
 *
 * Every request carries a 4-byte word, type 'M'. 0x85 and 0x86 carry the
 * write direction although the driver hands a word back: they are the
 * driver's numbers as they are, and a driver must answer them that way. */
#ifndef COMM_DEVICES_PMU_IOCTL_H
#define COMM_DEVICES_PMU_IOCTL_H

#define COMM_PMU_NODE "/dev/ip_6303"
#define COMM_PMU_NODE_NAME "ip_6303"

#define COMM_PMU_GET_TYPE 0x80044D82UL
#define COMM_PMU_GET_NTC_TEMPERATURE 0x80044D83UL
#define COMM_PMU_SET_CHARGE_CURRENT 0x40044D84UL
#define COMM_PMU_GET_VOLTAGE 0x40044D85UL
#define COMM_PMU_GET_CHARGE_CURRENT 0x40044D86UL
#define COMM_PMU_SET_CAP 0x40044D87UL
#define COMM_PMU_IS_ACC_ON 0x80044D88UL
#define COMM_PMU_IS_DC_IN 0x80044D89UL
#define COMM_PMU_GET_BOOT_RES 0x80044D90UL
#define COMM_PMU_POWER_OFF 0x40044D91UL
#define COMM_PMU_SET_POWER_OFF_TIMEOUT 0x40044D92UL
#define COMM_PMU_IS_POWER_KEY_PRESSED 0x80044D94UL
#define COMM_PMU_GET_SD_INSERT_STAT 0x80044D95UL

/* The number of requests above. */
#define COMM_PMU_REQUEST_COUNT 13

#endif
