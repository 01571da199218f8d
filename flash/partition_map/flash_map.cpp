// SPDX-License-Identifier: MIT
// The flash map: partition keys to mtd partitions and block indices, and
// the bounded region transfer behind Zev_MtdMgr_Read and Zev_MtdMgr_Write.
#include <cstring>

#include "comm_log.h"
#include "comm_mtd.h"
#include "comm_mtdmgr.h"
#include "flash/block_io.hpp"
#include "flash_layout.h"

namespace comm::flash {
namespace {

struct MapRow {
    const char *key;
    const char *partition;
    int32_t block;
};

constexpr int32_t kNoBlock = -1;

// The partitions are those of the board's layout (flash_layout.h).
constexpr MapRow kFlashMap[] = {
    {"MTD_PART_UI", COMM_FLASH_KEY_CUST, 0},         {"MTD_PART_UI_BACKUP", COMM_FLASH_KEY_CUST1, 0},
    {"MTD_PART_SETTINGS", COMM_FLASH_SETTINGS, 2},   {"MTD_PART_SETTINGS_BACKUP", COMM_FLASH_KEY_CUST, 2},
    {"MTD_PART_FACTORY", COMM_FLASH_KEY_CUST, 4},    {"MTD_PART_SN", COMM_FLASH_KEY_CUST, 6},
    {"MTD_PART_SN_BACKUP", COMM_FLASH_KEY_CUST1, 6}, {"MTD_PART_END", "END", kNoBlock},
};

constexpr int32_t kNullKey = -1;
constexpr int32_t kUnknownKey = -2;
constexpr int32_t kEndKey = -3;
constexpr int32_t kNoEraseSize = -30;
constexpr int32_t kNoPartition = -32;
constexpr int32_t kPastEnd = -33;
constexpr int32_t kNoDevice = -34;

const MapRow *find_row(const char *key) {
    for (const MapRow &row : kFlashMap) {
        if (strcmp(row.key, key) == 0) return &row;
    }
    return nullptr;
}

int32_t region_transfer(const char *api, const char *key, uint32_t offset, void *buf, uint32_t len,
                        Direction dir, bool sync) {
    if (key == nullptr) return kNullKey;
    const MapRow *row = find_row(key);
    if (row == nullptr || row->partition == nullptr) return kUnknownKey;
    if (row->block == kNoBlock) return kEndKey;
    const uint32_t erase = Zev_Comm_GetMtdEraseSize(row->partition);
    if (erase == 0) return kNoEraseSize;
    const uint64_t base = static_cast<uint64_t>(row->block) * erase;
    const uint32_t size = Zev_Comm_GetMtdPartSize(row->partition);
    if (size == 0) return kNoPartition;
    ZEV_COMM_LOG_AS(INF, api, "%s size:%d, %s offset:%d, len=%d\n", row->partition, static_cast<int>(size),
                    key, static_cast<int>(base), static_cast<int>(len));
    const uint64_t start = base + offset;
    if (start + len > size) return kPastEnd;
    const char *path = Zev_Comm_GetMtdPath(row->partition);
    if (path == nullptr) return kNoDevice;
    const TransferResult r = transfer(path, static_cast<long long>(start), buf, len, dir, sync);
    return r.code != 0 ? r.code : static_cast<int32_t>(len);
}

int32_t logged_transfer(const char *api, const char *key, uint32_t offset, void *buf, uint32_t len,
                        Direction dir, bool sync) {
    const int32_t r = region_transfer(api, key, offset, buf, len, dir, sync);
    if (r < 0) ZEV_COMM_LOG_AS(ERR, api, "[%s] ret = %d\n", key != nullptr ? key : "UNK", r);
    return r;
}

}  // namespace
}  // namespace comm::flash

extern "C" {

COMM_API int32_t Zev_MtdMgr_Read(const char *key, uint32_t offset, void *buf, uint32_t len) {
    return comm::flash::logged_transfer(__func__, key, offset, buf, len, comm::flash::Direction::read, false);
}

COMM_API int32_t Zev_MtdMgr_Write(const char *key, uint32_t offset, const void *data, uint32_t len,
                                  int sync) {
    return comm::flash::logged_transfer(__func__, key, offset, const_cast<void *>(data), len,
                                        comm::flash::Direction::write, sync != 0);
}

}  // extern "C"
