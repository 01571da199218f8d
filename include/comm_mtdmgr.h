// SPDX-License-Identifier: MIT
/** @file
 * libcomm partition manager: the flash map of named regions.
 *
 * A partition key names a region that starts at a block index times the
 * erase size (4096) from the start of an mtd partition:
 *
 *   MTD_PART_UI               KEY_CUST   block 0  0x0000
 *   MTD_PART_UI_BACKUP        KEY_CUST1  block 0  0x0000
 *   MTD_PART_SETTINGS         SETTINGS   block 2  0x2000
 *   MTD_PART_SETTINGS_BACKUP  KEY_CUST   block 2  0x2000
 *   MTD_PART_FACTORY          KEY_CUST   block 4  0x4000
 *   MTD_PART_SN               KEY_CUST   block 6  0x6000
 *   MTD_PART_SN_BACKUP        KEY_CUST1  block 6  0x6000
 *   MTD_PART_END              END        block -1 (refused)
 *
 * Regions have no size: the only bound is the end of the mtd partition, so
 * a transfer may run on into the next region. The manager does not touch
 * the flash write protection; a writer lifts it first.
 *
 * Results: the number of bytes transferred (so a length of 0 gives 0), or
 *   -1  key is null                  -32  partition size 0 (not listed)
 *   -2  key not in the map           -33  transfer would end past the partition
 *   -3  key MTD_PART_END             -34  no block device for the partition
 *   -30 erase size 0                 -4 / -5 / -6  open / seek / transfer failed
 * Every failure logs once at ERR "[%s] ret = %d\n" with the key ("UNK" for a
 * null key) and the code; every call that gets past the size lookup logs at
 * INF the partition, its size, the key, the region's base and the length.
 * A failed or short read leaves what arrived in the buffer.
 *
 * Edge choice: the end of a transfer (offset + base + length) is computed
 * without wrapping; an offset or length that would pass 2^32 is refused
 * with -33 instead of wrapping round to a small position.
 *
 * Not thread safe: lookups share the static buffers of comm_mtd.h.
 */
#ifndef COMM_MTDMGR_H
#define COMM_MTDMGR_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Reads len bytes at `offset` within the region of `key` into buf. */
COMM_API int32_t Zev_MtdMgr_Read(const char *key, uint32_t offset, void *buf, uint32_t len);

/** Writes len bytes of data at `offset` within the region of `key`; calls
 * fsync when `sync` is non-zero (the result is the same either way). */
COMM_API int32_t Zev_MtdMgr_Write(const char *key, uint32_t offset, const void *data, uint32_t len, int sync);

COMM_END_DECLS

#endif /* COMM_MTDMGR_H */
