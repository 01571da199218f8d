// SPDX-License-Identifier: MIT
/** @file
 * libcomm flash partitions: lookup in the kernel's list (/proc/mtd), the
 * line reader it is built on, and raw positioned access to mtd block devices.
 *
 * Lookups read /proc/mtd through Zev_Comm_ReadLine. A partition is found by
 * its name in double quotes anywhere in a line, so "KEY_CUST" never matches
 * the line of "KEY_CUST1". None of the lookups logs a failure: the caller
 * learns it from the 0 or null result.
 *
 * Static buffers (not thread safe; callers keep lookups on one thread at a
 * time, and copy what they want to keep):
 *   - the line buffer, 256 bytes, rewritten by every Zev_Comm_ReadLine call;
 *   - the path buffer, 64 bytes, rewritten by every successful
 *     Zev_Comm_GetMtdPath call and left as it was by a failed one.
 */
#ifndef COMM_MTD_H
#define COMM_MTD_H

#include <stdint.h>
#include <stdio.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/**
 * Reads one line of `stream` into the static 256-byte line buffer and
 * returns it, NUL-terminated, with the newline removed (a carriage return
 * stays). Returns null at end of input.
 *
 * The end-of-file indicator is tested before each read, so the end is
 * noticed one byte late: input that ends with a newline gives one more
 * empty line ("") before null, and so does empty input. A last line without
 * a newline comes back whole. At most 256 bytes are consumed per call: a
 * line longer than 255 characters comes back as its first 255 characters,
 * the 256th is lost, and the next call goes on with the 257th.
 *
 * Edge choices: a null stream gives null. A stream whose error indicator is
 * set is treated like one at its end (the byte of the failed read is taken
 * back, and the next call returns null), so a failing stream ends instead of
 * yielding endless lines of 0xFF bytes.
 */
COMM_API char *Zev_Comm_ReadLine(FILE *stream);

/**
 * Size in bytes of the partition `name` (the hexadecimal size column of its
 * /proc/mtd line, "mtd%d: %x"). 0 when /proc/mtd cannot be opened, no line
 * names the partition, or the size cannot be scanned. Logs the line and the
 * size at DBG when found.
 *
 * Edge choice: a null name, or a name longer than 61 characters (which
 * would not fit the 64-byte quoted search key), finds nothing: 0. A size
 * past 32 bits gives 0xffffffff and an index past the int range logs
 * 2147483647, as scanned with a 32-bit long, on every build.
 */
COMM_API uint32_t Zev_Comm_GetMtdPartSize(const char *name);

/**
 * Block device of the partition `name`: "/dev/mtdblock" followed by what
 * stands between "mtd" and the first colon of its /proc/mtd line, in the
 * static 64-byte path buffer. Null when /proc/mtd cannot be opened or no
 * line names the partition; the path buffer then keeps its content. Every
 * successful call returns the same buffer, so an earlier result shows the
 * latest path.
 *
 * Edge choices: a null name or one longer than 61 characters finds nothing.
 * A matching line with no colon, with its colon before the fourth
 * character, or whose path would not fit in 64 bytes gives null and leaves
 * the path buffer as it was.
 */
COMM_API char *Zev_Comm_GetMtdPath(const char *name);

/** Erase size of a partition: always 4096. The name is not looked at (it may
 * be null) and nothing is read. */
COMM_API uint32_t Zev_Comm_GetMtdEraseSize(const char *name);

/**
 * Raw block access: positioned reads and writes on an mtd block device, by
 * device path or by partition index (the index N addresses
 * "/dev/mtdblockN"). The kernel's mtdblock driver erases and aligns; these
 * functions check neither offset nor length against the partition.
 *
 * Each call opens the device O_RDWR | O_DSYNC (reads too), seeks from the
 * start, makes one read or write, calls fsync (after reads too), closes and
 * returns:
 *    0  all len bytes transferred
 *   -4  the device could not be opened (nothing to close)
 *   -5  the seek failed (for instance a negative offset)
 *   -6  the transfer moved fewer bytes than asked for, or failed; a short
 *       read leaves the bytes that did arrive in the buffer
 * A length of 0 opens, seeks, transfers nothing, syncs and returns 0.
 * Failures of the writes log at WAR, failures of the reads at VER; success
 * logs nothing. No state, no lock.
 *
 * Edge choices: a path of more than 31 characters (the limit of the local
 * path buffer) is not opened and gives -4 with the function's failure line.
 * A negative length in the path forms is never passed to the transfer: the
 * call gives -6 after opening and seeking.
 */
COMM_API int32_t Zev_Comm_MtdBlockWrite_ByPath(const char *path, int32_t offset, const char *data,
                                               int32_t len);
COMM_API int32_t Zev_Comm_MtdBlockWrite(int32_t index, int32_t offset, const void *data, uint32_t len);
COMM_API int32_t Zev_Comm_MtdBlocRead_ByPath(const char *path, int32_t offset, char *buf, int32_t len);
COMM_API int32_t Zev_Comm_MtdBlocRead(int32_t index, int32_t offset, void *buf, uint32_t len);

COMM_END_DECLS

#endif /* COMM_MTD_H */
