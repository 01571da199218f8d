// SPDX-License-Identifier: MIT
/** @file
 * libcomm ring buffer: a named ring of bytes that hands a byte stream from
 * one thread to another, with and without waiting.
 *
 * A ring of capacity N holds N - 1 bytes: it is empty when the read index
 * equals the write index and full when the write index is one behind the read
 * index (modulo N). Both indices stay within 0..N-1. The data size counter is
 * kept for RingBuffer_GetDataSize only and never decides full or empty.
 *
 * Log lines (the DDD line shows from print level 5 on, the VVV line from 7):
 *   DDD "<name>:full\n"   from RingBuffer_In, each time a byte finds no room
 *   VVV "<name>:empty\n"  from RingBuffer_Out, each time no byte is there
 * The Str operations move their bytes through the same two steps, so a
 * string that stops short logs the line once, in the name of RingBuffer_In or
 * RingBuffer_Out; the Wait forms log it once per failed attempt.
 *
 * Threads: each ring has one plain (non-recursive) mutex. RingBuffer_Clean
 * and the four Str operations hold it from their first byte to their last,
 * so a string moves as a unit. The Wait forms keep it through their sleeps:
 * a peer calling a locked operation on the same ring blocks until the waiter
 * returns, and only a peer calling RingBuffer_In or RingBuffer_Out directly
 * can bring data or free room meanwhile. RingBuffer_In, RingBuffer_Out,
 * RingBuffer_isFull, RingBuffer_isEmpty and RingBuffer_GetDataSize take no
 * lock: one thread storing and one thread taking directly keep the ring
 * consistent; the data size is exact whenever callers are serialised.
 * Each ring also has a condition variable that RingBuffer_StrIn,
 * RingBuffer_StrInWait and RingBuffer_destroy signal; nothing waits on it.
 *
 * Handles: every operation but RingBuffer_destroy needs a handle from
 * RingBuffer_create; a null handle is the caller's fault.
 */
#ifndef COMM_RINGBUFFER_H
#define COMM_RINGBUFFER_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Longest ring name kept, without its terminator. */
#define RINGBUFFER_NAME_MAX 31

/** Creates a ring of iCapacity bytes (iCapacity - 1 usable), its data area
 * zero-filled. Returns the handle, or null:
 *  - when memory runs out, with ERR "<pName>:malloc fail\n";
 *  - when iCapacity is below 1 (no such ring can be used), with
 *    ERR "<pName>:capacity[<iCapacity>] below 1\n" and nothing allocated.
 * The name is copied: a name longer than 31 characters keeps its first 31.
 * A null pName counts as the empty name, in the ring and in the lines above.
 * A capacity of 1 gives a ring that is always full and never holds a byte. */
COMM_API void *RingBuffer_create(const char *pName, int32_t iCapacity);

/** Signals the condition variable, destroys the mutex and the condition
 * variable, and releases the ring. Takes no lock: end all use first. A null
 * handle does nothing. */
COMM_API void RingBuffer_destroy(void *ringHdl);

/** 1 when the ring is full, else 0. No lock. */
COMM_API int32_t RingBuffer_isFull(void *ringHdl);

/** 1 when the ring is empty, else 0. No lock. */
COMM_API int32_t RingBuffer_isEmpty(void *ringHdl);

/** Stores one byte: 1, or 0 (with the DDD "full" line) when the ring was
 * full. No lock. */
COMM_API int32_t RingBuffer_In(void *ringHdl, uint8_t u8Byte);

/** Takes one byte into *pu8Byte: 1, or 0 (with the VVV "empty" line) when the
 * ring was empty. No lock. */
COMM_API int32_t RingBuffer_Out(void *ringHdl, uint8_t *pu8Byte);

/** Empties the ring under the mutex: both indices and the data size go to 0,
 * the bytes stay in the data area. Returns 1. */
COMM_API int32_t RingBuffer_Clean(void *ringHdl);

/** Stores up to iLen bytes of pData in order, under the mutex, and returns
 * how many went in (iLen when all did). A full ring ends the string early,
 * with one DDD "full" line. Signals the condition variable before releasing
 * the mutex, also when nothing was stored.
 * A null pData or an iLen of 0 returns 0 at once (no lock, no signal); a
 * negative iLen stores nothing and is returned as it is. */
COMM_API int32_t RingBuffer_StrIn(void *ringHdl, const void *pData, int32_t iLen);

/** Takes up to iLen bytes into pData in order, under the mutex, and returns
 * how many came out. An empty ring ends early, with one VVV "empty" line.
 * Does not signal. Null pData, iLen 0 and negative iLen as RingBuffer_StrIn. */
COMM_API int32_t RingBuffer_StrOut(void *ringHdl, void *pData, int32_t iLen);

/** As RingBuffer_StrIn, but a byte that finds the ring full is tried again
 * after usleep(10000). iRetry counts failed attempts for the whole call (not
 * per byte): at the iRetry-th failure, or the first one when iRetry is below
 * 1, the call returns the number stored so far. Each failed attempt logs the
 * DDD "full" line. The mutex is held throughout, sleeps included. Signals
 * the condition variable before releasing the mutex. Also returns 0 at once,
 * with no lock, for a ring without a data area. */
COMM_API int32_t RingBuffer_StrInWait(void *ringHdl, const void *pData, int32_t iLen, int32_t iRetry);

/** As RingBuffer_StrOut, waiting for data the way RingBuffer_StrInWait waits
 * for room (VVV "empty" line per failed attempt). Does not signal. */
COMM_API int32_t RingBuffer_StrOutWait(void *ringHdl, void *pData, int32_t iLen, int32_t iRetry);

/** The data size counter: the number of bytes stored while callers are
 * serialised. No lock. */
COMM_API int32_t RingBuffer_GetDataSize(void *ringHdl);

COMM_END_DECLS

#endif /* COMM_RINGBUFFER_H */
