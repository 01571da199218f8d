// SPDX-License-Identifier: MIT
/** @file
 * libcomm serial port: open, speed and framing, receive under a time-out,
 * close. There is no send operation. The caller owns the descriptor and
 * passes it to every call; the library keeps no state.
 *
 * Order of use: ZEV_UART_Init, ZEV_UART_SetAttr, any number of
 * ZEV_UART_RecvRawData, ZEV_UART_DeInit. One caller per descriptor at a time:
 * two receivers on one port split its bytes.
 */
#ifndef COMM_UART_H
#define COMM_UART_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Settings for ZEV_UART_SetAttr. Every field is a selector, not a number. */
typedef struct {
    /* 0: 300, 1: 1200, 2: 2400, 3: 4800, 4: 9600, 5: 19200, 6: 38400,
     * 7: 115200 bits per second. Nothing else (57600 has no selector). */
    uint32_t u32Baud;
    uint32_t u32DataBits; /* 0: seven bits, 1: eight bits */
    uint32_t u32StopBits; /* 0: one stop bit, 1: two */
    /* 0: none, 1: odd, 2: even, 3: no parity bit (the same as 0). Input
     * parity checking (INPCK) ends off for every selector. */
    uint32_t u32Parity;
} UART_ATTR_S;

/** Opens path with O_RDWR | O_NOCTTY | O_NONBLOCK and stores the descriptor
 * in *pFd, -1 included. 0; -1 and ERR "%s open failed\n" when the device
 * cannot be opened. A null path or pFd gives -1 (ERR of the pointer check)
 * and opens nothing. */
COMM_API int32_t ZEV_UART_Init(const char *path, int32_t *pFd);

/** Sets speed, then framing, in two stages.
 * Stage one (speed): a bad u32Baud gives ERR "no this bitrate\n" (under
 * UART_SetSpeed) and ERR "Set bit rate Error\n", result -1, and the port is
 * untouched, its queues not flushed. Otherwise both queues are flushed and
 * the speed set; a refused tcsetattr only logs ERR "tcsetattr fd1".
 * Stage two (framing, checked in the order data size, parity, stop bits):
 * any failure logs its line under UART_SetParity ("tcgetattr err",
 * "Unsupported data size\n", "Unsupported parity\n",
 * "Unsupported stop bits\n", "tcsetattr err") and ERR "Set Parity Error\n",
 * result -2; the new speed then stays in force with the old framing.
 * On success the input queue is flushed, BRKINT INPCK ISTRIP ICRNL IXON IXANY
 * IXOFF, OPOST, ISIG ICANON ECHO ECHOE IEXTEN are cleared, VTIME is 30 and
 * VMIN 0; every other flag (CREAD, CLOCAL, CRTSCTS...) stays as it was.
 * A null pstAttr gives -1 (ERR of the pointer check) and touches nothing. */
COMM_API int32_t ZEV_UART_SetAttr(int32_t fd, UART_ATTR_S *pstAttr);

/** Receives exactly u32Len bytes into pBuf within u32TimeoutMs milliseconds,
 * one budget for the whole call. 0 when all have arrived; -1 on time-out,
 * with the bytes that did arrive at the start of pBuf (their number is not
 * told). A time-out of 0 is a poll. A length of 0 still waits for the port
 * to become readable. A failed read logs DBG "uartMSG read error ret= %d \n"
 * and the wait goes on.
 * A line that stays readable while reads deliver nothing (hang-up, errors)
 * still ends the call with -1 within its time-out: the library keeps its own
 * monotonic deadline beside select's, and such a pass rests up to 1 ms
 * before the next one rather than spinning.
 * Refused with -1 and an ERR line, before any wait: a null pBuf, and a
 * descriptor outside 0..1023, which does not fit select's read set.
 * Blocks the calling thread. */
COMM_API int32_t ZEV_UART_RecvRawData(int32_t fd, uint8_t *pBuf, uint32_t u32Len, uint32_t u32TimeoutMs);

/** Closes fd. 0, always (also for a descriptor already closed). */
COMM_API int32_t ZEV_UART_DeInit(int32_t fd);

COMM_END_DECLS

#endif /* COMM_UART_H */
