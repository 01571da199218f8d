// SPDX-License-Identifier: MIT
/*
 * The system's settings library, as libcomm calls it. On the camera the
 * closed library of that name answers; on a PC the file-backed stand-in of
 * this folder does: key=value lines in the file named by $ZEV_SETTINGS_FILE.
 */
#ifndef ZEV_SETTINGS_H
#define ZEV_SETTINGS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Copies the value of key into buf, at most size bytes with the terminator
 * (the value is cut to size - 1 characters). 0 when the key was found, -1
 * otherwise; then buf is left as it was. */
int Zev_Settings_GetKeyStrVal(const char *key, char *buf, int size);

/* 0 when the two texts are equal, another value when they differ. */
int Zev_Settings_CompStr(const char *a, const char *b);

/* Stores value under key, replacing the settings file atomically. 0 on
 * success, -1 when there is no settings file name or the file cannot be
 * written (the old file then stays as it was). Threads and processes may
 * set at once: writers take turns on an flock of "FILE.lock" (made beside
 * the file and left there), each writes a temporary file of its own name,
 * and the file and its folder are synced after the rename. A writer killed
 * midway leaves the old file whole; its temporary file is removed by the
 * next set. */
int Zev_Settings_Set(const char *key, const char *value);

/* Flash write protection: 2 and 4 lift it for the first and second identity
 * copy, 0 restores it. The stand-in has no protection to lift and returns 0. */
int Zev_Settings_UnProtect(int flag);

#ifdef __cplusplus
}
#endif

#endif /* ZEV_SETTINGS_H */
