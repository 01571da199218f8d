// SPDX-License-Identifier: MIT
/** @file
 * libcomm file chores: existence and size, whole-file reads and writes, a
 * non-blocking device read, the FAT hidden attribute, and creating or
 * deleting a path through the shell.
 *
 * Every call opens what it needs and closes it before it returns; nothing is
 * kept between calls. The results differ from function to function and are
 * given next to each one. path and pBuf are not tested for null: they must
 * be valid. Failures are logged at VER only, in the name of the function.
 *
 * Threading: any thread; the only thing shared is the file system.
 */
#ifndef COMM_FILE_H
#define COMM_FILE_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** 1 when access(path, F_OK) succeeds, else 0. No log. */
COMM_API int32_t Zev_Comm_IsFileExist(const char *path);

/** The size that stat() reports (cut to 32 bits), or -1 when stat fails. */
COMM_API int32_t Zev_Comm_GetFileSize(const char *path);

/** Reads up to size bytes from the start of the file into pBuf. 0 when the
 * file could be opened, however many bytes came (nothing is added behind
 * them: clear the buffer and ask for one byte less for a string); 1 when it
 * could not be opened. */
COMM_API int32_t Zev_Comm_ReadFile(const char *path, void *pBuf, uint32_t size);

/** Like Zev_Comm_ReadFile from offset: measured from the start when offset
 * is 0 or more, from the end when it is negative (-16: the last 16 bytes).
 * A seek the file refuses is ignored and the read starts where the stream
 * stands (its first byte). Returns the number of bytes read, or 255 when the
 * file could not be opened (a 255-byte read looks the same). */
COMM_API int32_t Zev_Comm_ReadFileEx(const char *path, int32_t offset, void *pBuf, uint32_t size);

/** Creates or empties the file and writes size bytes as one item. 0 when the
 * file could be opened (a short write is not seen); 1 when not. */
COMM_API int32_t Zev_Comm_WriteFile(const char *path, const void *pBuf, uint32_t size);

/** Creates the file or adds size bytes to its end. 0 when opened; 1 when not. */
COMM_API int32_t Zev_Comm_AppendFile(const char *path, const void *pBuf, uint32_t size);

/** Opens the node read-write, non-blocking, with synchronous data
 * (O_RDWR | O_NONBLOCK | O_DSYNC) and reads once, without retry. Returns
 * what read() gave (size, fewer, or -1 when nothing is ready; both logged),
 * or 0 when the node could not be opened. */
COMM_API int32_t Zev_Comm_ReadDev_NonBlock(const char *path, void *pBuf, uint32_t size);

/** Sets (bHide nonzero) or clears the FAT hidden bit 0x02 of a file through
 * the driver's attribute requests; other attribute bits stay as read. A
 * missing file is created empty first. 0 when the file could be opened
 * (a directory cannot: 1).
 * When the driver does not give the attributes (no FAT file system, a
 * refused request), nothing is written back: the result is still 0. */
COMM_API int32_t Zev_Comm_SetFileHide(const char *path, int32_t bHide);

/** The same for a directory. 0 on success (also when the driver does not
 * give the attributes: then nothing is written back); 255 when the
 * directory cannot be opened (a plain file, a missing path); 1 when its
 * descriptor cannot be had. */
COMM_API int32_t Zev_Comm_SetDirHide(const char *path, int32_t bHide);

/** Runs "touch PATH" through the shell. Always 1, whatever the command did.
 * The path goes in unquoted (a blank separates arguments) and may have at
 * most 121 characters; a longer path runs nothing. */
COMM_API int32_t Zev_Comm_CreateNormalFile(const char *path);

/** Runs "rm -rf PATH" through the shell: directories go with all they hold.
 * Always 1. The path goes in unquoted and may have at most 120 characters;
 * a longer one runs nothing, so that a cut path never removes its parent. */
COMM_API int32_t Zev_Comm_DeleteFile(const char *path);

COMM_END_DECLS

#endif /* COMM_FILE_H */
