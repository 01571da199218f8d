// SPDX-License-Identifier: MIT
// Key=value texts: the backslash-ended parameter text and single lines.
#include <cstdlib>
#include <cstring>

#include "comm_file.h"
#include "comm_log.h"
#include "comm_param.h"
#include "frame/number_text.hpp"

namespace comm {
namespace {

constexpr size_t kTextCopySize = 1024;   // the text's private copy
constexpr size_t kFileBufferSize = 512;  // the file's cleared buffer
constexpr uint32_t kFileReadSize = 511;  // one less: the text stays terminated
constexpr int32_t kNullArgument = -100;
constexpr char kEntryEnd = '\\';

enum LookupFailure : int { kNoKey = 1, kNoEntryEnd = 2, kNoEquals = 3, kEmptyValue = 4 };

struct TextCopy {
    char text[kTextCopySize] = {};
};

// Finds pKey in `text` (changed: the entry is cut at its backslash) and
// points `value` at its value. 0 on success, else the failure number.
int find_value(char *text, const char *pKey, char *&value) {
    char *found = strstr(text, pKey);
    if (found == nullptr) return kNoKey;
    char *end = strchr(found, kEntryEnd);
    if (end == nullptr) return kNoEntryEnd;
    *end = '\0';
    char *equals = strchr(found, '=');
    if (equals == nullptr) return kNoEquals;
    value = equals + 1;
    if (*value == '\0') return kEmptyValue;
    return 0;
}

// Looks the key up in a private copy of at most 1023 bytes of pText and
// logs a failure in the name of the exported function.
const char *lookup(const char *name, const char *pText, const char *pKey, TextCopy &copy) {
    strncpy(copy.text, pText, sizeof copy.text - 1);
    char *value = nullptr;
    const int failure = find_value(copy.text, pKey, value);
    if (failure != 0) {
        ZEV_COMM_LOG_AS(ERR, name, "[ZEV]Get %s Failed!uRet=%d\r\n", pKey, failure);
        return nullptr;
    }
    return value;
}

struct FileText {
    char text[kFileBufferSize] = {};
};

// Reads the first 511 bytes of the file; 0, or the failure to return.
int32_t read_param_file(const char *name, const char *path, const char *pKey, const void *out,
                        FileText &buf) {
    if (path == nullptr || pKey == nullptr || out == nullptr) {
        ZEV_COMM_LOG_AS(VER, name, "Failed!uRet=%d\r\n", kNullArgument);
        return kNullArgument;
    }
    const int32_t r = Zev_Comm_ReadFile(path, buf.text, kFileReadSize);
    if (r != 0) ZEV_COMM_LOG_AS(VER, name, "Failed!uRet=%d\r\n", r);
    return r;
}

// The value of a line: behind the first "=", up to the first CR and LF.
char *line_value(char *str) {
    char *equals = strchr(str, '=');
    if (equals == nullptr) return nullptr;
    char *value = equals + 1;
    if (char *cr = strchr(value, '\r'); cr != nullptr) *cr = '\0';
    if (char *lf = strchr(value, '\n'); lf != nullptr) *lf = '\0';
    return value;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t ZevGetFactoryParam(const char *pText, const char *pKey, int32_t *pValue) {
    comm::TextCopy copy;
    const char *value = comm::lookup(__func__, pText, pKey, copy);
    if (value == nullptr) return 0;
    *pValue = comm::atoi32(value);
    return 1;
}

COMM_API int32_t ZevGetTargetFwVer(const char *pText, const char *pKey, char *pOut) {
    comm::TextCopy copy;
    const char *value = comm::lookup(__func__, pText, pKey, copy);
    if (value == nullptr) return 0;
    strcpy(pOut, value);  // shorter than the 1024-byte copy it came from
    return 1;
}

COMM_API int32_t Zev_Comm_GetNumFromFileBykey(const char *path, const char *pKey, int32_t *pValue) {
    comm::FileText buf;
    const int32_t r = comm::read_param_file(__func__, path, pKey, pValue, buf);
    if (r != 0) return r;
    if (ZevGetFactoryParam(buf.text, pKey, pValue) == 1) ZEV_COMM_VER("%s=%d\r\n", pKey, *pValue);
    return 0;
}

COMM_API int32_t Zev_Comm_GetStrFromFileBykey(const char *path, const char *pKey, char *pOut) {
    comm::FileText buf;
    const int32_t r = comm::read_param_file(__func__, path, pKey, pOut, buf);
    if (r != 0) return r;
    if (ZevGetTargetFwVer(buf.text, pKey, pOut) == 1) ZEV_COMM_VER("%s=%s\r\n", pKey, pOut);
    return 0;
}

COMM_API char *Zev_Comm_GetStrVal(char *str) { return comm::line_value(str); }

COMM_API int32_t Zev_Comm_GetIntVal(char *str) {
    const char *value = comm::line_value(str);
    return value == nullptr ? -1 : comm::atoi32(value);
}

}  // extern "C"
