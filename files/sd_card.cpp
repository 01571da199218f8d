// SPDX-License-Identifier: MIT
// SD card discovery in the kernel's partition table, and waiting for a path.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "comm_file.h"
#include "comm_log.h"
#include "comm_sd.h"

namespace comm {
namespace {

constexpr const char *kPartitionsPath = "/proc/partitions";
constexpr uint32_t kTableReadSize = 1024;
constexpr const char *kCardName = "mmcblk";
constexpr size_t kCardNameLength = 6;
constexpr size_t kDevPathSize = 64;  // the callers' buffers, and our own
constexpr size_t kDevNameIndex = 5;  // first byte behind "/dev/"
constexpr useconds_t kPartitionPause = 200000;
constexpr useconds_t kNodePause = 100000;
constexpr int64_t kMaxPauseUs = 1000000;

// One read of the table: the second "mmcblk" when there is one (the first
// partition behind its disk), else the first. Writes "/dev/NAME" to
// pDevPath (when not null) within 64 bytes. 0 found, -1 not.
int32_t ZevCommGetStorageDev(char *pDevPath) {
    char table[kTableReadSize + 1] = {};
    (void)Zev_Comm_ReadFile(kPartitionsPath, table, kTableReadSize);
    char *hit = strstr(table, kCardName);
    if (hit == nullptr) return -1;
    if (char *second = strstr(hit + kCardNameLength, kCardName); second != nullptr) hit = second;
    if (char *lf = strchr(hit, '\n'); lf != nullptr) *lf = '\0';
    if (pDevPath == nullptr) return 0;
    snprintf(pDevPath, kDevPathSize, "/dev/%s", hit);
    ZEV_COMM_DBG("SD Dev=%s\r\n", pDevPath);
    return 0;
}

// A pause of `ms` milliseconds, in steps of at most a second so that no
// interval overflows the microsecond count.
void pause_ms(int32_t ms) {
    int64_t us = static_cast<int64_t>(ms) * 1000;
    while (us > 0) {
        const int64_t step = us < kMaxPauseUs ? us : kMaxPauseUs;
        usleep(static_cast<useconds_t>(step));
        us -= step;
    }
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_GetStorageDev(char *pDevPath) {
    (void)comm::ZevCommGetStorageDev(pDevPath);
    if (pDevPath[0] == '\0') return comm::ZevCommGetStorageDev(pDevPath);
    if (strchr(pDevPath, 'p') != nullptr) return 0;
    // Only the whole disk so far: its partition may not be listed yet.
    usleep(comm::kPartitionPause);
    return comm::ZevCommGetStorageDev(pDevPath);
}

COMM_API int32_t Zev_Comm_GetStorageDevName(char *pDevName) {
    if (pDevName == nullptr) return -1;
    char path[comm::kDevPathSize] = {};
    (void)Zev_Comm_GetStorageDev(path);
    if (path[comm::kDevNameIndex] == '\0') {
        ZEV_COMM_WAR("get mmcblk failed\n");
        return -2;
    }
    if (access(path, F_OK) != 0) {
        ZEV_COMM_WAR("access %s failed, retry\n", path);
        usleep(comm::kNodePause);
        if (access(path, F_OK) != 0) {
            ZEV_COMM_WAR("access %s failed, retry2\n", path);
            return -3;
        }
    }
    strcpy(pDevName, strrchr(path, '/') + 1);
    ZEV_COMM_INF("devName=%s (%s)\n", pDevName, path);
    return 0;
}

COMM_API int32_t Zev_Comm_Waitfor_Folder(const char *path, int32_t iIntervalMs, int32_t iTimeOutMs) {
    const int32_t tests = iIntervalMs > 0 ? iTimeOutMs / iIntervalMs : 1;
    for (int32_t i = 0; i < tests; ++i) {
        if (Zev_Comm_IsFileExist(path) == 1) {
            ZEV_COMM_DBG("get %s\n", path);
            return 1;
        }
        comm::pause_ms(iIntervalMs);
    }
    ZEV_COMM_DBG("%s timeout\n", path);
    return 0;
}

}  // extern "C"
