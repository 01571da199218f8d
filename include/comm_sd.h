// SPDX-License-Identifier: MIT
/** @file
 * libcomm SD card discovery: the card's block device in /proc/partitions
 * (a partition preferred to the whole disk), its size, and waiting for a
 * path such as a mount point.
 *
 * Only the first 1024 bytes of the table are looked at by the device
 * lookups. The calls block on the caller's thread for as long as their
 * pauses take.
 */
#ifndef COMM_SD_H
#define COMM_SD_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Puts "/dev/NAME" of the card into pDevPath, which must hold an empty
 * string on entry (a non-empty one is taken for an earlier find) and have
 * room for 64 bytes: a longer path is cut to 63 characters. The second
 * "mmcblk" of the table wins over the first (the partition behind its
 * disk). When nothing is found the table is read once more at once; when
 * only a whole disk is found (no "p" in the path), once more after 200 ms,
 * since its partition may come a little later. 0 when the last read found a
 * device, -1 when not (pDevPath then keeps what an earlier read put there). */
COMM_API int32_t Zev_Comm_GetStorageDev(char *pDevPath);

/** The card's device name ("mmcblk0p1") into pDevName. 0 on success (INF
 * "devName=%s (%s)\n"); -1 pDevName null; -2 no card in the table (WAR
 * "get mmcblk failed\n"); -3 its node is missing also at a second look
 * 100 ms after the first. pDevName is untouched unless the result is 0. */
COMM_API int32_t Zev_Comm_GetStorageDevName(char *pDevName);

/** The blocks value (units of 1024 bytes) of the first table line that
 * holds pName anywhere: "mmcblk0" gives the whole disk, "mmcblk0p1" its
 * partition. 0 when the table cannot be opened or no line holds the name.
 * When the name stands at the very start of its line there is no number:
 * 0; when no blank stands in front of the number, it is read from the
 * line's start. pName must not be empty. */
COMM_API int32_t Zev_Comm_GetStorageSizeKB(const char *pName);

/** Zev_Comm_GetStorageSizeKB shifted right by 10 bits: 1023 KB gives 0. */
COMM_API int32_t Zev_Comm_GetStorageSizeMB(const char *pName);

/** Waits for path to exist: iTimeOutMs / iIntervalMs tests (cut), the
 * first at once, each failed one followed by a pause of iIntervalMs. 1 when
 * the path exists (DBG "get %s\n"), 0 on time-out (DBG "%s timeout\n").
 * A time-out below the interval, or negative, makes no test at all and
 * gives 0. An interval of 0 or below makes one test, without a pause. */
COMM_API int32_t Zev_Comm_Waitfor_Folder(const char *path, int32_t iIntervalMs, int32_t iTimeOutMs);

COMM_END_DECLS

#endif /* COMM_SD_H */
