// SPDX-License-Identifier: MIT
/** @file
 * libcomm queue: a bounded first-in, first-out queue of elements of one
 * fixed size, copied in and out by value.
 *
 * All memory is allocated by Zev_Queue_Create: one slot of iElemSize bytes
 * per element. Push and pop copy one element under the queue's mutex and
 * never allocate. The count decides full and empty, so all iCapacity slots
 * are usable: a queue of 4 holds 4 elements.
 *
 * Threads: Zev_Queue_Push, Zev_Queue_Pop, Zev_Queue_Clear and
 * Zev_Queue_Destroy take the queue's (non-recursive) mutex for their whole
 * work; Zev_Queue_GetLen reads the count without it, so its answer may be out
 * of date when the caller sees it. Nothing blocks except on the mutex: a push
 * on a full queue and a pop on an empty one fail at once. End all use of a
 * queue before Zev_Queue_Destroy.
 *
 * Log lines, all at ERR:
 *   "queueHdl is NULL!\n"  any operation but Zev_Queue_Create given a null
 *                          handle (in that operation's name)
 *   "queue is full!\n"     Zev_Queue_Push on a full queue
 *   "queue is empity!\n"   Zev_Queue_Pop on an empty queue
 * The last two are written after the mutex has been released.
 */
#ifndef COMM_QUEUE_H
#define COMM_QUEUE_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Creates a queue of iCapacity slots of iElemSize bytes each; the slots are
 * not cleared. Returns the handle, or null, with no log line, when memory
 * runs out: for the record, for the slot array or for any slot. A queue is
 * never handed out with a slot missing; whatever was allocated before the
 * failure is released.
 * An iCapacity of 0 or below gives a queue without slots that is always both
 * full and empty: every push and every pop returns -2. An iElemSize of 0
 * gives elements of no bytes that are counted all the same. */
COMM_API void *Zev_Queue_Create(uint32_t iElemSize, int32_t iCapacity);

/** Releases every slot, the slot array and the queue. A null handle only
 * logs. */
COMM_API void Zev_Queue_Destroy(void *queueHdl);

/** Empties the queue under the mutex; the next push goes to slot 0. The slots
 * keep their bytes. A null handle only logs. */
COMM_API void Zev_Queue_Clear(void *queueHdl);

/** The number of elements held, read without the lock; -1 for a null
 * handle. */
COMM_API int32_t Zev_Queue_GetLen(void *queueHdl);

/** Copies iElemSize bytes of pElem into the next slot. A null pElem takes up
 * the slot without writing it: the slot keeps the bytes it held (an earlier
 * element's, or whatever its allocation left there on first use).
 * 0 when pushed, -1 for a null handle, -2 when the queue is full. */
COMM_API int32_t Zev_Queue_Push(void *queueHdl, const void *pElem);

/** Copies the oldest element into pElem and drops it from the queue; a null
 * pElem drops it without copying. 0 when popped, -1 for a null handle, -2
 * when the queue is empty. */
COMM_API int32_t Zev_Queue_Pop(void *queueHdl, void *pElem);

COMM_END_DECLS

#endif /* COMM_QUEUE_H */
