// SPDX-License-Identifier: MIT
// One positioned transfer on a block device: open O_RDWR | O_DSYNC, seek
// from the start, one read or write, optional fsync, close.
#pragma once

#include <cstddef>
#include <cstdint>

namespace comm::flash {

enum class Direction { read, write };

struct TransferResult {
    int32_t code = 0;           // 0, or kOpenFailed, kSeekFailed, kShortTransfer
    long long transferred = 0;  // what read/write returned (0 if not reached)
};

constexpr int32_t kOpenFailed = -4;
constexpr int32_t kSeekFailed = -5;
constexpr int32_t kShortTransfer = -6;

// `len` < 0 is never handed to read/write: the transfer counts as failed.
TransferResult transfer(const char *path, long long offset, void *buf, long long len, Direction dir,
                        bool sync);

}  // namespace comm::flash
