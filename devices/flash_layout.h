// SPDX-License-Identifier: MIT
/* The board's NOR flash as the kernel lists it in /proc/mtd: one row per
 * partition, in mtd order. Shared by boardsim's flash and the kernel lab's
 * test-board module, so that every key of the library's flash map resolves
 * on both. Plain C with no includes, usable from a kernel module.
 *
 * KEY_CUST1 stands before KEY_CUST, so a lookup must match the quoted name. */
#ifndef COMM_DEVICES_FLASH_LAYOUT_H
#define COMM_DEVICES_FLASH_LAYOUT_H

/* The partitions that the library's flash map names. */
#define COMM_FLASH_KEY_CUST "KEY_CUST"
#define COMM_FLASH_KEY_CUST1 "KEY_CUST1"
#define COMM_FLASH_SETTINGS "SETTINGS"

struct comm_flash_partition {
    const char *name;
    unsigned int size;
    unsigned int erase_size;
};

/* Expands to the rows of a struct comm_flash_partition array. */
#define COMM_FLASH_LAYOUT_ROWS                                                                    \
    {"BOOT", 0x40000, 0x10000}, {"ENV", 0x10000, 0x1000}, {COMM_FLASH_KEY_CUST1, 0x8000, 0x1000}, \
        {COMM_FLASH_KEY_CUST, 0x8000, 0x1000}, {COMM_FLASH_SETTINGS, 0x10000, 0x1000}, {          \
        "KERNEL", 0x100000, 0x10000                                                               \
    }

#define COMM_FLASH_PARTITION_COUNT 6

#endif
