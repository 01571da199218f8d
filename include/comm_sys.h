// SPDX-License-Identifier: MIT
/** @file
 * libcomm commands, threads and small utilities.
 *
 * Running shell commands (with their output caught, or with only their
 * status), running a script from the SD card, thread creation with a stack
 * floor, a random number, a digit test and a test whether a process runs.
 * Nothing here keeps state: every buffer is on the caller's stack, so all
 * functions may run on any thread at the same time. system() and popen()
 * block the calling thread until the command has ended.
 *
 * Failures are reported through the results only; nothing here logs one.
 */
#ifndef COMM_SYS_H
#define COMM_SYS_H

#include <pthread.h>
#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** The smallest stack a thread gets from Zev_Comm_CreateThread(Ex). */
#define ZEV_COMM_THREAD_STACK_MIN 16384

/** Runs pCmd through popen() and makes ONE fread(pBuf, 1, iSize) of its
 * output: that returns once iSize bytes are there or the output has ended.
 * Only the last byte pBuf[iSize - 1] is ever terminated (set to 0 when it
 * isn't): shorter output is not followed by a zero byte unless the buffer
 * held one, so zero-fill the buffer first when you want a text. Output of
 * iSize bytes or more loses its last byte to the terminator; the rest is not
 * read. The command's exit status is not reported.
 *
 * Results: 0 done (also with pBuf NULL: the command runs, nothing is read);
 * -1 popen() failed, or pCmd is NULL (nothing is run); -2 the command gave no
 * output (the buffer is untouched), which includes a command that cannot be
 * found and an iSize of 0 or less (a negative size is never handed to fread,
 * nothing is read). */
COMM_API int32_t Zev_Comm_Cmd(const char *pCmd, char *pBuf, int32_t iSize);

/** Formats the arguments with vsnprintf into a 256-byte buffer and runs the
 * text with system(): a longer text is cut to its first 255 characters,
 * without notice. pFormat is always a format, so a finished command must
 * hold no '%'. Returns -100 when pFormat is NULL (nothing is run), else
 * system()'s result unchanged. */
COMM_API int32_t Zev_Comm_SystemEx(const char *pFormat, ...) __attribute__((format(printf, 1, 2)));

/** Runs a script from the SD card, always these four commands in order:
 *   "cp /mnt/mmc/<pName> /tmp", "chmod 777 /tmp/<pName>",
 *   "dos2unix /tmp/<pName>"      (each through Zev_Comm_SystemEx, results
 *                                 not looked at), then
 *   "/tmp/<pName> <pArg> &"      when bBackground is nonzero, or
 *   "/tmp/<pName> <pArg>  "      (a blank as the last field) when it is 0,
 * logged at DBG and run with system(). Returns system()'s result for the last
 * command; with "&" the shell returns at once and says nothing of the script.
 *
 * Limits: pName at most 110 characters, pName and pArg together at most 119
 * (the commands share one 128-byte buffer). A command that would not fit is
 * not run, rather than run cut short; when that is the last one, the result
 * is -1. pArg NULL counts as the empty text. */
COMM_API int32_t Zev_Comm_RunSDShell(const char *pName, const char *pArg, int32_t bBackground);

/** Creates a joinable thread running pStart(pArg) with a stack of iStackSize
 * bytes, but never less than ZEV_COMM_THREAD_STACK_MIN (a signed comparison:
 * negative sizes get the floor too). The stack size is the only attribute
 * set; the caller owns the handle in *pThread.
 * Results: 0 done; -1 the attribute object could not be set up; -2 the stack
 * size was refused (e.g. below the C library's own minimum); else
 * pthread_create()'s error number, which is positive. */
COMM_API int32_t Zev_Comm_CreateThreadEx(pthread_t *pThread, void *(*pStart)(void *), int32_t iStackSize,
                                         void *pArg);

/** Zev_Comm_CreateThreadEx with a NULL pArg. */
COMM_API int32_t Zev_Comm_CreateThread(pthread_t *pThread, void *(*pStart)(void *), int32_t iStackSize);

/** A number from 0 to 99999999: the process's rand() generator is seeded
 * again at every call from the nanoseconds of the monotonic clock (which
 * disturbs every other user of rand()), two rand() values are added in 32
 * bits, shifted right by 8 as a signed word and reduced modulo 100000000 as
 * an unsigned word. With a 31-bit rand() the results fall in two bands,
 * 0..8388607 and 86578688..94967295. Logs at DBG "t=%x, rand=%d". */
COMM_API int32_t Zev_Comm_Rand(void);

/** 1 when c is a digit code, 48 to 57; 0 for every other value. */
COMM_API int32_t Zev_Comm_IsNumber(int32_t c);

/** Runs "ps -ef | grep <pName> | grep -v grep" and answers 1 when pName occurs
 * in the first 127 bytes of its output, else 0: a substring test, so that a
 * process whose command line merely contains pName counts, and the empty
 * text is always found. Every failure of the command gives 0. pName is at
 * most 34 characters (the command has a 64-byte buffer): a longer name, or
 * NULL, is not looked for and gives 0. */
COMM_API int32_t Zev_Comm_IsTaskRunning(const char *pName);

COMM_END_DECLS

#endif /* COMM_SYS_H */
