// SPDX-License-Identifier: MIT
// Raw block access for applications: positioned transfers on an mtd block
// device by path or by partition index, with no knowledge of partitions.
#include <cstdio>
#include <cstring>

#include "comm_log.h"
#include "comm_mtd.h"
#include "flash/block_io.hpp"

namespace comm::flash {
namespace {

constexpr size_t kDevPathSize = 32;

struct DevPath {
    char text[kDevPathSize] = {};
    bool fits = false;
};

DevPath copy_path(const char *path) {
    DevPath p;
    if (path == nullptr) return p;
    // A path that does not fit is kept cut, for the log line only.
    const size_t n = strnlen(path, kDevPathSize);
    p.fits = n < kDevPathSize;
    memcpy(p.text, path, p.fits ? n : kDevPathSize - 1);
    return p;
}

DevPath index_path(int32_t index) {
    DevPath p;
    snprintf(p.text, sizeof p.text, "/dev/mtdblock%d", static_cast<int>(index));
    p.fits = true;
    return p;
}

// The transfer for a path that fits; an unusable path fails like an open.
TransferResult transfer_at(const DevPath &p, long long offset, void *buf, long long len, Direction dir) {
    if (!p.fits) return TransferResult{kOpenFailed, 0};
    return transfer(p.text, offset, buf, len, dir, true);
}

}  // namespace
}  // namespace comm::flash

using comm::flash::Direction;

extern "C" {

COMM_API int32_t Zev_Comm_MtdBlockWrite_ByPath(const char *path, int32_t offset, const char *data,
                                               int32_t len) {
    const comm::flash::DevPath p = comm::flash::copy_path(path);
    const auto r = comm::flash::transfer_at(p, offset, const_cast<char *>(data), len, Direction::write);
    if (r.code != 0) ZEV_COMM_WAR("[%s] offset:%d len:%d, ret = %d\n", p.text, offset, len, r.code);
    return r.code;
}

COMM_API int32_t Zev_Comm_MtdBlockWrite(int32_t index, int32_t offset, const void *data, uint32_t len) {
    const comm::flash::DevPath p = comm::flash::index_path(index);
    const auto r = comm::flash::transfer_at(p, offset, const_cast<void *>(data), len, Direction::write);
    if (r.code != 0) {
        ZEV_COMM_WAR("[%s] iRetLen:%d,offset:%d len:%d, ret = %d\n", p.text, static_cast<int>(r.transferred),
                     offset, static_cast<int>(len), r.code);
    }
    return r.code;
}

COMM_API int32_t Zev_Comm_MtdBlocRead_ByPath(const char *path, int32_t offset, char *buf, int32_t len) {
    const comm::flash::DevPath p = comm::flash::copy_path(path);
    const auto r = comm::flash::transfer_at(p, offset, buf, len, Direction::read);
    if (r.code != 0) ZEV_COMM_VER("[%s] ret = %d\n", p.text, r.code);
    return r.code;
}

COMM_API int32_t Zev_Comm_MtdBlocRead(int32_t index, int32_t offset, void *buf, uint32_t len) {
    const comm::flash::DevPath p = comm::flash::index_path(index);
    const auto r = comm::flash::transfer_at(p, offset, buf, len, Direction::read);
    if (r.code != 0) ZEV_COMM_VER("[%s] ret = %d\n", p.text, r.code);
    return r.code;
}

}  // extern "C"
