// SPDX-License-Identifier: MIT
// Partition lookup in /proc/mtd: size and block device of a partition
// known by its kernel name.
#include <cstdio>
#include <cstring>

#include "comm_log.h"
#include "comm_mtd.h"
#include "frame/handles.hpp"
#include "frame/number_text.hpp"

namespace comm {
namespace {

constexpr const char *kMtdList = "/proc/mtd";
constexpr size_t kKeySize = 64;
constexpr size_t kPathSize = 64;
constexpr uint32_t kEraseSize = 4096;
// "mtd" stands before the partition index in every partition line.
constexpr size_t kIndexStart = 3;

char s_path[kPathSize];

// The name in double quotes, so that KEY_CUST does not match KEY_CUST1.
struct SearchKey {
    char text[kKeySize] = {};
    bool valid = false;
};

SearchKey make_key(const char *name) {
    SearchKey key;
    if (name == nullptr) return key;
    const int n = snprintf(key.text, sizeof key.text, "\"%s\"", name);
    key.valid = n > 0 && static_cast<size_t>(n) < sizeof key.text;
    return key;
}

// Runs `act` on the first line of /proc/mtd that holds the key and returns
// its result; `not_found` when the list cannot be opened or has no such line.
template <typename T, typename Act>
T with_partition_line(const SearchKey &key, T not_found, Act act) {
    if (!key.valid) return not_found;
    UniqueFile list(fopen(kMtdList, "r"));
    if (!list) return not_found;
    while (char *line = Zev_Comm_ReadLine(list.get())) {
        if (strstr(line, key.text) != nullptr) return act(line);
    }
    return not_found;
}

// Formats the block device path of a partition line into s_path. Refuses
// lines without a colon at or behind the index, and paths that would not
// fit, leaving s_path untouched.
char *path_from_line(char *line, const char *key) {
    char *colon = strchr(line, ':');
    if (colon == nullptr || static_cast<size_t>(colon - line) < kIndexStart) return nullptr;
    *colon = '\0';
    char path[kPathSize];
    const int n = snprintf(path, sizeof path, "/dev/mtdblock%s", line + kIndexStart);
    if (n < 0 || static_cast<size_t>(n) >= sizeof path) return nullptr;
    memcpy(s_path, path, static_cast<size_t>(n) + 1);
    ZEV_COMM_LOG_AS(DBG, "Zev_Comm_GetMtdPath", "%s strPath = %s\n", key, s_path);
    return s_path;
}

uint32_t size_from_line(const char *line) {
    ZEV_COMM_LOG_AS(DBG, "Zev_Comm_GetMtdPartSize", "%s\n", line);
    // "mtd%d: %x", scanned as the camera's C library scans it.
    long long index = 0;
    int at = -1;
    (void)sscanf(line, "mtd%lld: %n", &index, &at);
    const uint32_t size = at >= 0 ? hex32(line + at) : 0;
    ZEV_COMM_LOG_AS(DBG, "Zev_Comm_GetMtdPartSize", "part%d:size = %d (0x%x)\n", clamp_int32(index),
                    static_cast<int>(size), size);
    return size;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API uint32_t Zev_Comm_GetMtdPartSize(const char *name) {
    const comm::SearchKey key = comm::make_key(name);
    return comm::with_partition_line<uint32_t>(key, 0u,
                                               [](const char *line) { return comm::size_from_line(line); });
}

COMM_API char *Zev_Comm_GetMtdPath(const char *name) {
    const comm::SearchKey key = comm::make_key(name);
    return comm::with_partition_line<char *>(
        key, nullptr, [&key](char *line) { return comm::path_from_line(line, key.text); });
}

COMM_API uint32_t Zev_Comm_GetMtdEraseSize(const char *name) {
    (void)name;
    return comm::kEraseSize;
}

}  // extern "C"
