// SPDX-License-Identifier: MIT
// Recording services: the MP4 header probe, the capture name slots and the
// video parameters.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "comm_log.h"
#include "comm_record.h"
#include "frame/handles.hpp"
#include "settings/zev_settings.h"

namespace comm {
namespace {

constexpr off_t kHeaderBlockOffset = 4096;
constexpr size_t kHeaderBlockSize = 52;
constexpr size_t kBoxTypeAt = 12;
constexpr size_t kDurationAt = 32;
constexpr size_t kFpsWord0At = 44;
constexpr size_t kFpsWord1At = 48;
constexpr uint32_t kNoValue = 0xFFFFFFFFu;

constexpr int kSlotCount = 3;
constexpr size_t kSlotSize = 72;
constexpr int kWatchedSlot = 0;
constexpr int32_t kPollMs = 100;
constexpr useconds_t kPollUs = 100000;

constexpr int32_t kVideoFps = 30000;
constexpr int kVideoResSize = 65;

char s_acCaptureName[kSlotCount][kSlotSize] = {};

uint32_t big_endian_word(const unsigned char *p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

// 0, or the failure code of the probe's read.
int32_t read_header_block(const char *path, unsigned char (&block)[kHeaderBlockSize]) {
    UniqueFd fd(open(path, O_RDWR | O_DSYNC));
    if (!fd) return -4;
    if (lseek(fd.get(), kHeaderBlockOffset, SEEK_SET) == static_cast<off_t>(-1)) return -5;
    if (read(fd.get(), block, sizeof block) != static_cast<ssize_t>(sizeof block)) return -6;
    return 0;
}

void store_first_byte(char *slot, char value) { __atomic_store_n(slot, value, __ATOMIC_RELEASE); }
char load_first_byte(const char *slot) { return __atomic_load_n(slot, __ATOMIC_ACQUIRE); }

// The first byte goes last, so that a waiter never acts on half a name.
void store_name(char *slot, const char *name) {
    store_first_byte(slot, '\0');
    if (name[0] == '\0') return;
    size_t len = strnlen(name, kSlotSize - 1);
    memcpy(slot + 1, name + 1, len - 1);
    memset(slot + len, 0, kSlotSize - len);
    store_first_byte(slot, name[0]);
}

void clear_slot(char *slot) {
    store_first_byte(slot, '\0');
    memset(slot + 1, 0, kSlotSize - 1);
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_GetFileDurationMsAndFps(const char *path, uint32_t *pDurationMs,
                                                  uint32_t *pFpsWord0, uint32_t *pFpsWord1) {
    ZEV_COMM_CHECK_POINTER(path);
    ZEV_COMM_CHECK_POINTER(pDurationMs);
    ZEV_COMM_CHECK_POINTER(pFpsWord0);
    ZEV_COMM_CHECK_POINTER(pFpsWord1);
    unsigned char block[comm::kHeaderBlockSize] = {};
    const int32_t ret = comm::read_header_block(path, block);
    if (ret != 0) {
        ZEV_COMM_VER("[%s] ret = %d\n", path, ret);
        return ret;
    }
    if (memcmp(block + comm::kBoxTypeAt, "mvhd", 4) != 0) {
        *pDurationMs = *pFpsWord0 = *pFpsWord1 = comm::kNoValue;
        return -7;
    }
    *pDurationMs = comm::big_endian_word(block + comm::kDurationAt);
    *pFpsWord0 = comm::big_endian_word(block + comm::kFpsWord0At);
    *pFpsWord1 = comm::big_endian_word(block + comm::kFpsWord1At);
    return 0;
}

COMM_API void SetCaptureFileName(const char *pName, int32_t iSlot) {
    if (iSlot < 0 || iSlot >= comm::kSlotCount) return;
    char *slot = comm::s_acCaptureName[iSlot];
    if (pName == nullptr) {
        comm::clear_slot(slot);
    } else {
        comm::store_name(slot, pName);
    }
}

COMM_API char *WaitforCaptureComplate(int32_t iTimeOutMs) {
    char *slot = comm::s_acCaptureName[comm::kWatchedSlot];
    const int32_t polls = iTimeOutMs / comm::kPollMs;
    for (int32_t i = 0; i < polls; ++i) {
        usleep(comm::kPollUs);
        if (comm::load_first_byte(slot) != '\0') {
            ZEV_COMM_DBG("got %s (%d/%d)\n", slot, i, polls);
            return slot;
        }
    }
    ZEV_COMM_WAR("timeout!\n");
    return slot;
}

COMM_API int32_t Zev_Comm_GetVideoFps(void) { return comm::kVideoFps; }

COMM_API int32_t Zev_Comm_GetVideoHight(void) {
    char value[comm::kVideoResSize] = {};
    (void)Zev_Settings_GetKeyStrVal("Camera.Menu.VideoRes", value, comm::kVideoResSize - 1);
    if (value[0] == '\0') return 0;
    if (strcmp(value, "2560x1440P30") == 0) return 1296;
    if (strcmp(value, "1920x1080P30") == 0) return 1080;
    return 1296;
}

}  // extern "C"
