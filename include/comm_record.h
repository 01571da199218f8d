// SPDX-License-Identifier: MIT
/** @file
 * libcomm recording services: the duration and frame-rate words of a
 * finished MP4 file of the device's recorder, the capture name slots at
 * which one thread hands a file name to another, and the video parameters.
 * None of them touches the recorder itself.
 */
#ifndef COMM_RECORD_H
#define COMM_RECORD_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/**
 * Reads the 52 bytes at file offset 4096 of an MP4 file of the recorder,
 * where its "mvhd" box (version 0) lies, without walking the box tree.
 * On success stores, turned from big-endian: the duration (offset 4128,
 * taken as milliseconds whatever the timescale), and the two words at 4140
 * and 4144 where the recorder leaves its frame-rate data; returns 0.
 * The file is opened read-write (O_RDWR | O_DSYNC): a file that cannot be
 * opened for writing fails.
 *   -4 cannot be opened, -5 the seek fails, -6 fewer than 52 bytes read
 *      (a file shorter than 4148 bytes): VER "[%s] ret = %d\n", outputs
 *      left as they were;
 *   -7 no "mvhd" at offset 4108: all three outputs set to 0xFFFFFFFF, no log.
 * A null argument gives -1 with the ERR line of the pointer check and
 * touches nothing.
 */
COMM_API int32_t Zev_Comm_GetFileDurationMsAndFps(const char *path, uint32_t *pDurationMs,
                                                  uint32_t *pFpsWord0, uint32_t *pFpsWord1);

/**
 * Capture name slots 0, 1 and 2: three static strings of 72 bytes. Slot 0 is
 * the one WaitforCaptureComplate watches. A name is stored, pName null
 * clears the slot; any other iSlot does nothing.
 * A name longer than 71 characters is cut to its first 71.
 * The first byte of the slot is cleared first and set last, after the rest
 * of the name and its terminator, with release ordering: a waiter that sees
 * it set sees the whole name, never half of it. One writer per slot.
 */
COMM_API void SetCaptureFileName(const char *pName, int32_t iSlot);

/**
 * Waits for a name in slot 0: iTimeOutMs / 100 polls (none for 99 or less,
 * or a negative time-out), each after usleep(100000). A name logs DBG
 * "got %s (%d/%d)\n" (name, poll number from 0, number of polls) and ends
 * the wait; otherwise WAR "timeout!\n". Returns slot 0 in both cases: it is
 * empty when nothing arrived. The wait does not clear the slot: clear it
 * with SetCaptureFileName(NULL, 0) before starting the capture. The text is
 * static; copy what you keep. Blocks the calling thread.
 */
COMM_API char *WaitforCaptureComplate(int32_t iTimeOutMs);

/** The recorder's frame rate in thousandths: always 30000. */
COMM_API int32_t Zev_Comm_GetVideoFps(void);

/** Lines of the configured video mode ("Camera.Menu.VideoRes"):
 * empty or unreadable 0, "1920x1080P30" 1080, "2560x1440P30" and anything
 * else 1296. */
COMM_API int32_t Zev_Comm_GetVideoHight(void);

COMM_END_DECLS

#endif /* COMM_RECORD_H */
