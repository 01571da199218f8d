// SPDX-License-Identifier: MIT
#include "flash/block_io.hpp"

#include <fcntl.h>
#include <unistd.h>

#include "frame/handles.hpp"

namespace comm::flash {

// O_RDWR | O_DSYNC as the board's kernel numbers them (0x1002 on ARM).
constexpr int kOpenFlags = O_RDWR | O_DSYNC;

TransferResult transfer(const char *path, long long offset, void *buf, long long len, Direction dir,
                        bool sync) {
    TransferResult r;
    UniqueFd fd(open(path, kOpenFlags));
    if (!fd) {
        r.code = kOpenFailed;
        return r;
    }
    if (lseek(fd.get(), static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(-1)) {
        r.code = kSeekFailed;
        return r;
    }
    if (len < 0) {
        r.code = kShortTransfer;
        return r;
    }
    const size_t n = static_cast<size_t>(len);
    const ssize_t done = dir == Direction::write ? write(fd.get(), buf, n) : read(fd.get(), buf, n);
    r.transferred = done;
    if (done < 0 || static_cast<size_t>(done) != n) {
        r.code = kShortTransfer;
        return r;
    }
    if (sync) (void)fsync(fd.get());
    return r;
}

}  // namespace comm::flash
