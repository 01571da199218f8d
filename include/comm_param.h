// SPDX-License-Identifier: MIT
/** @file
 * libcomm key=value texts.
 *
 * Parameter text: entries KEY=VALUE each ended by one backslash (0x5C), the
 * last one too: "FW=12\HW=3\". The key is found wherever its characters
 * first occur (also inside a longer key or an earlier value); the value runs
 * from the "=" behind it to the backslash. Nothing is trimmed or unquoted.
 *
 * Line values: "KEY=VALUE" where the value ends at the first CR, LF or the
 * end of the string.
 *
 * Threading: all six use only their arguments and stack.
 */
#ifndef COMM_PARAM_H
#define COMM_PARAM_H

#include <stdint.h>

#include "comm_export.h"

COMM_BEGIN_DECLS

/** Looks pKey up in pText (at most 1023 bytes are looked at; the text is not
 * changed) and stores atoi of its value behind pValue. 1 when found; 0 when
 * not, with pValue untouched and ERR "[ZEV]Get KEY Failed!uRet=N\r\n":
 * N 1 the key is not in the text, 2 no backslash from the key on, 3 no "="
 * between the key and that backslash, 4 the value is empty.
 * A value that is no number gives 0 and still counts as found. */
COMM_API int32_t ZevGetFactoryParam(const char *pText, const char *pKey, int32_t *pValue);

/** The same lookup, copying the value and its terminator to pOut, which must
 * hold it (the text's own size is always enough). */
COMM_API int32_t ZevGetTargetFwVer(const char *pText, const char *pKey, char *pOut);

/** Reads the first 511 bytes of the file (anything behind them is not seen)
 * and looks the key up as ZevGetFactoryParam does. -100 when an argument is
 * null; 1 when the file cannot be opened; else 0, found or not: a key that
 * was not found leaves *pValue as it was, so set it to a default first. */
COMM_API int32_t Zev_Comm_GetNumFromFileBykey(const char *path, const char *pKey, int32_t *pValue);

/** The same for a text value; pOut needs room for 512 bytes. */
COMM_API int32_t Zev_Comm_GetStrFromFileBykey(const char *path, const char *pKey, char *pOut);

/** The value behind the first "=" of str, cut at the first CR and LF (str is
 * changed in place). Null when str holds no "="; an empty string when the
 * line ends with "=". */
COMM_API char *Zev_Comm_GetStrVal(char *str);

/** atoi of the value as Zev_Comm_GetStrVal finds it, or -1 when str holds no
 * "=" (a value of -1 looks the same). A number beyond the int range gives
 * INT32_MIN or INT32_MAX, as atoi does with a 32-bit long, on every build. */
COMM_API int32_t Zev_Comm_GetIntVal(char *str);

COMM_END_DECLS

#endif /* COMM_PARAM_H */
