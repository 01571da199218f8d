// SPDX-License-Identifier: MIT
// The SD card's size from the blocks column of /proc/partitions.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "comm_mtd.h"
#include "comm_sd.h"
#include "frame/handles.hpp"
#include "frame/number_text.hpp"

namespace comm {
namespace {

constexpr const char *kPartitionsPath = "/proc/partitions";
constexpr int kKbPerMbShift = 10;

// The number that ends just in front of `hit`, walking back to the blank
// before it but never out of `line`. 0 when the hit opens the line.
int32_t blocks_before(char *line, char *hit) {
    if (hit == line) return 0;
    hit[-1] = '\0';
    char *start = hit - 1;
    while (start > line && start[-1] != ' ') --start;
    return comm::atoi32(start);
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_GetStorageSizeKB(const char *pName) {
    comm::UniqueFile table(fopen(comm::kPartitionsPath, "r"));
    if (!table) return 0;
    while (char *line = Zev_Comm_ReadLine(table.get())) {
        if (char *hit = strstr(line, pName); hit != nullptr) return comm::blocks_before(line, hit);
    }
    return 0;
}

COMM_API int32_t Zev_Comm_GetStorageSizeMB(const char *pName) {
    return Zev_Comm_GetStorageSizeKB(pName) >> comm::kKbPerMbShift;
}

}  // extern "C"
