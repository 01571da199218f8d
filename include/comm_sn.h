// SPDX-License-Identifier: MIT
/** @file
 * libcomm identity record: a 1152-byte record of seven opaque fields, kept
 * twice in flash (regions MTD_PART_SN and MTD_PART_SN_BACKUP) and once in
 * memory (the image).
 *
 *   offset size  field      mask   offset size  field      mask
 *   0x000  64    Sn         0x01   0x1C0  48    Plain1     0x08 (no digest)
 *   0x040  48    SnMd5             0x1F0  48    Plain2     0x10 (no digest)
 *   0x070  64    Speech     0x02   0x220  512   Ui         0x20
 *   0x0B0  48    SpeechMd5         0x420  48    UiMd5
 *   0x0E0  64    Did        0x04   0x450  48    RecordMd5 (over 0x000..0x44F)
 *   0x120  48    DidMd5
 *   0x150  64    Adas       0x40
 *   0x190  48    AdasMd5
 *
 * A digest slot holds the 32-character MD5 text of its whole field, a NUL,
 * and 15 reserved bytes. A byte is empty when it is 0x00 or 0xFF.
 *
 * Order of use: call Zev_SnManager_Start once, to its end, before
 * Zev_SnManager_Update. Nothing here is locked: keep all three functions on
 * one thread at a time (even a failed Zev_SnManager_GetData writes to the
 * image). Flash writes are made under Zev_Settings_UnProtect of the
 * settings library.
 */
#ifndef COMM_SN_H
#define COMM_SN_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/**
 * Reads both copies, judges each (empty, good by its RecordMd5, or bad with
 * a score of its field digests: Sn 2, Did 2, Speech 3, Adas 1, Ui 5), loads
 * what the decision table picks into the image and repairs a damaged copy
 * from a good one. Neither copy good: the better-scored bad one is loaded,
 * or a zero image when both score 0. Always returns 0 and sets the started
 * flag; a further call judges flash anew.
 *
 * Edge choice: a copy chosen by the table is reloaded, and a reload that
 * reads fewer than 1152 bytes (or, for a repair, is no longer good) is tried
 * once more. If that fails too, the bytes the copy had when it was judged go
 * back into the image when that read was whole (WAR "reload of %s failed,
 * kept as first read\n"), and a repair is written from them. Otherwise no
 * repair is written, WAR "reload of %s failed, record not loaded\n", and
 * Zev_SnManager_Update refuses every write and erase with -13 until a later
 * start loads a record: an image that was not read whole never reaches flash.
 */
COMM_API int32_t Zev_SnManager_Start(void);

/**
 * Copies `size` bytes of the field chosen by stType to DataOut, after
 * checking its digest (Plain1 and Plain2 have none). Order when several bits
 * are set: Sn, Speech, Did, Adas, Plain1, Plain2, Ui. Results: 0 (copied, or
 * no field bit set: nothing copied); -1 DataOut null or Sn's digest wrong;
 * -2 Speech or Did wrong; -3 Adas or Ui wrong. A wrong digest marks byte 33
 * of the field's slot with 0 in the image and leaves DataOut as it was. A
 * field never written or erased does not match its digest.
 *
 * Edge choice: `size` beyond the field's size copies the field's bytes only
 * (64, 48 or 512); DataOut's bytes behind them are left as they were.
 */
COMM_API int32_t Zev_SnManager_GetData(uint32_t stType, void *DataOut, uint32_t size);

/**
 * Writes (DataIn non-null, size non-zero) or erases (DataIn null or size 0)
 * the field chosen by stType, in the order Sn, Did, Speech, Adas, Plain1,
 * Plain2, Ui, renews its digest and RecordMd5, and stores the record in both
 * copies (first copy first). A write copies `size` bytes to the field's
 * start and keeps the bytes behind them. Results: 0 (stored, or nothing to
 * change: "No change (stType=%x)\n"); -10 not started; -11 negative size or
 * a value of empty bytes only; too long: Sn -2, Did -21, Speech -3, Adas -4
 * (63 bytes at most), Ui -5 (512 at most). An erase of Ui clears the image
 * only; the next store carries it to flash. Flash write failures do not
 * show in the result.
 *
 * Edge choices: a value longer than 48 bytes for Plain1 or Plain2 is refused
 * with -12 ("Err ret=-12"), so no write reaches past the field. After a start
 * that could not load the chosen copy whole (see Zev_SnManager_Start),
 * writes and erases are refused with -13 ("Err ret=-13"); flash is untouched.
 */
COMM_API int32_t Zev_SnManager_Update(uint32_t stType, const void *DataIn, int32_t size);

COMM_END_DECLS

#endif /* COMM_SN_H */
