// SPDX-License-Identifier: MIT
/** @file
 * libcomm MP3 file decoding: a whole MP3 file to 16-bit PCM in one call.
 *
 * The file is mapped read-only and handed to the decoder in place, never
 * copied; one frame of PCM is held at a time; nothing is allocated on the
 * heap and nothing survives the call. Several threads may decode at once.
 * The call blocks its thread until the file is decoded.
 *
 * Stack: the decoder's state and working memory stand on the caller's
 * stack: a whole decoding goes 33.1 KB deep on x86-64 and 29.2 KB on 32-bit
 * ARM. Before it touches anything the call checks the room left on the
 * calling thread's stack; with less than its need plus a margin (38 KiB on
 * x86-64, 34 KiB on 32-bit ARM) it logs WAR "stack room %u bytes, decoding
 * needs %u\n" and returns 0, writing nothing. A thread made by
 * Zev_Comm_CreateThreadEx needs 64 KiB of stack to decode (16 and 32 KiB
 * are refused); the main thread and threads of the default size decode.
 * The exported mp3dec_decode_frame checks its own need the same way (24 KiB
 * on x86-64, 20 KiB on 32-bit ARM): short of it, it reports no frame
 * (result 0, info zeroed, frame_bytes 0) after the same WAR line.
 *
 * Layer III frames are decoded straight into pOut while a whole frame fits
 * there, so their PCM is not copied a second time; frames of the other
 * layers, which may write part of a frame before they fail, never are.
 */
#ifndef COMM_MP3_H
#define COMM_MP3_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/**
 * Decodes the MP3 file at path into pOut, at most iCapacity bytes, and
 * returns the number of bytes written (0 to iCapacity). Every failure gives 0.
 *
 * Output: 16-bit signed samples in the machine's byte order, one frame's
 * worth behind the other, nothing in front. A stereo frame yields all of its
 * interleaved samples (left, right, left, ...), 4 bytes per sample time; a
 * mono frame 2. The channel count and rate are not returned: they are
 * logged once, DBG "samprate:%d, channels:%d\n", after the first frame (0
 * and 0 when no frame was found), and mp3dec_decode_frame on the first
 * frame tells them to a caller who needs them.
 *
 * Decoding stops at the first call that yields no samples (the end, a
 * frame that cannot be decoded, trailing garbage): what was written up to
 * there is the result, with no log line. When the next frame does not fit,
 * only as many bytes as are left are copied (the last frame is cut) and the
 * result equals iCapacity. pOut is never written beyond the result.
 *
 * 0 without a log line: a null path or pOut, or iCapacity of 0 or less.
 * 0 with WAR "mp3decoder_init error!\n": the file cannot be opened, its
 * fstat fails, it is empty, 2 GiB or larger, or cannot be mapped.
 */
COMM_API int32_t Zev_Mp3Decode(const char *path, void *pOut, int32_t iCapacity);

COMM_END_DECLS

#endif /* COMM_MP3_H */
