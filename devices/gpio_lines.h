// SPDX-License-Identifier: MIT
/* The board's GPIO lines as the kernel numbers them: one chip, from 0.
 * Shared by boardsim and the kernel lab's test-board module, so that a pin
 * exists on both or on neither. Plain C with no includes. */
#ifndef COMM_DEVICES_GPIO_LINES_H
#define COMM_DEVICES_GPIO_LINES_H

#define COMM_GPIO_LINE_COUNT 64

#endif
