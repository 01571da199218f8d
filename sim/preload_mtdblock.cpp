// SPDX-License-Identifier: MIT
// The board's /dev/mtdblockN as the kernel's block driver answers: a read
// returns what exists from the position on (0 at or past the end); a write
// is cut at the end, and one that starts there fails with ENOSPC, so an
// image never grows; a transfer of 0 bytes returns 0. The count is bounded
// here, before the testbed's device handling sees it, which would otherwise
// take a transfer of gigabytes at its word.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "preload.hpp"

namespace comm::sim {
namespace {

bool is_flash_block(int fd) {
    const char *root = board_root();
    if (root == nullptr) return false;
    const std::string path = fd_path(fd);
    return path.compare(0, strlen(root), root) == 0 && path.find("/dev/mtdblock") != std::string::npos;
}

// Bytes from the descriptor's position to the image's end (0 at or past it);
// -1 when the position or size cannot be had.
long long room_behind(int fd) {
    struct stat st {};
    const off_t at = lseek(fd, 0, SEEK_CUR);
    if (at < 0 || fstat(fd, &st) != 0) return -1;
    return st.st_size > at ? st.st_size - at : 0;
}

template <typename Fn>
Fn next(const char *name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace comm::sim

extern "C" __attribute__((visibility("default"))) ssize_t read(int fd, void *buf, size_t count) {
    using namespace comm::sim;
    static const auto real = next<ssize_t (*)(int, void *, size_t)>("read");
    if (!is_flash_block(fd)) return real(fd, buf, count);
    const long long room = room_behind(fd);
    if (room < 0) return real(fd, buf, count);
    if (count == 0 || room == 0) return 0;
    return real(fd, buf, count < static_cast<size_t>(room) ? count : static_cast<size_t>(room));
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int fd, const void *buf, size_t count) {
    using namespace comm::sim;
    static const auto real = next<ssize_t (*)(int, const void *, size_t)>("write");
    if (!is_flash_block(fd)) return real(fd, buf, count);
    const long long room = room_behind(fd);
    if (room < 0) return real(fd, buf, count);
    if (count == 0) return 0;
    if (room == 0) {
        errno = ENOSPC;
        return -1;
    }
    return real(fd, buf, count < static_cast<size_t>(room) ? count : static_cast<size_t>(room));
}
