// SPDX-License-Identifier: MIT
// File chores: each call opens what it needs and closes it before it returns.
#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "comm_file.h"
#include "comm_log.h"
#include "frame/handles.hpp"

namespace comm {
namespace {

// The FAT driver's attribute requests: one 32-bit word each way.
constexpr unsigned long kFatGetAttributes = 0x80047210UL;
constexpr unsigned long kFatSetAttributes = 0x40047211UL;
constexpr uint32_t kFatHiddenBit = 0x02;

constexpr int32_t kOpenFailed = 1;
constexpr int32_t kReadExOpenFailed = 255;
constexpr int32_t kDirOpenFailed = 255;
constexpr int32_t kDirFdFailed = 1;

// Read and write always go through these stdio modes.
constexpr const char *kReadMode = "rb";
constexpr const char *kWriteMode = "w+";
constexpr const char *kAppendMode = "ab+";

// O_RDWR | O_NONBLOCK | O_DSYNC: the node is opened for writing too.
constexpr int kNonBlockFlags = O_RDWR | O_NONBLOCK | O_DSYNC;
// O_RDWR | O_CREAT | O_APPEND with mode 0644: a missing file is created.
constexpr int kHideFileFlags = O_RDWR | O_CREAT | O_APPEND;
constexpr mode_t kHideFileMode = 0644;

// Read-modify-write of the hidden bit. When the driver does not fill the
// word, nothing is written back: a made-up word must not reach the entry.
void change_hidden_bit(int fd, int32_t bHide) {
    uint32_t attributes = 0;
    if (ioctl(fd, kFatGetAttributes, &attributes) != 0) return;
    if (bHide != 0) {
        attributes |= kFatHiddenBit;
    } else {
        attributes &= ~kFatHiddenBit;
    }
    (void)ioctl(fd, kFatSetAttributes, &attributes);
}

// One fwrite of a single item of `size` bytes: a short write goes unseen.
bool write_whole(const char *path, const char *mode, const void *pBuf, uint32_t size) {
    UniqueFile f(fopen(path, mode));
    if (!f) return false;
    if (size != 0) (void)!fwrite(pBuf, size, 1, f.get());
    return true;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_IsFileExist(const char *path) { return access(path, F_OK) == 0 ? 1 : 0; }

COMM_API int32_t Zev_Comm_GetFileSize(const char *path) {
    struct stat st {};
    if (stat(path, &st) != 0) return -1;
    return static_cast<int32_t>(st.st_size);
}

COMM_API int32_t Zev_Comm_ReadFile(const char *path, void *pBuf, uint32_t size) {
    comm::UniqueFile f(fopen(path, comm::kReadMode));
    if (!f) {
        ZEV_COMM_VER("[ZEV]ZevReadFile---%s---failed!uRet=%d (%d bytes)\r\n", path, comm::kOpenFailed, 0);
        return comm::kOpenFailed;
    }
    (void)!fread(pBuf, 1, size, f.get());
    return 0;
}

COMM_API int32_t Zev_Comm_ReadFileEx(const char *path, int32_t offset, void *pBuf, uint32_t size) {
    comm::UniqueFile f(fopen(path, comm::kReadMode));
    if (!f) {
        ZEV_COMM_VER("[ZEV]ZevReadFile---%s---failed!uRet=%d (%d bytes)\r\n", path, comm::kReadExOpenFailed,
                     0);
        return comm::kReadExOpenFailed;
    }
    // A refused seek (procfs, or back past the start) leaves the stream at
    // its first byte, which is where the read then starts.
    (void)fseek(f.get(), offset, offset >= 0 ? SEEK_SET : SEEK_END);
    return static_cast<int32_t>(fread(pBuf, 1, size, f.get()));
}

COMM_API int32_t Zev_Comm_WriteFile(const char *path, const void *pBuf, uint32_t size) {
    if (!comm::write_whole(path, comm::kWriteMode, pBuf, size)) {
        ZEV_COMM_VER("[ZEV]ZevWriteFile---%s---failed!uRet=%d\r\n", path, comm::kOpenFailed);
        return comm::kOpenFailed;
    }
    return 0;
}

COMM_API int32_t Zev_Comm_AppendFile(const char *path, const void *pBuf, uint32_t size) {
    if (!comm::write_whole(path, comm::kAppendMode, pBuf, size)) {
        ZEV_COMM_VER("[ZEV]Zev_Comm_AppendFile---%s---failed!uRet=%d\r\n", path, comm::kOpenFailed);
        return comm::kOpenFailed;
    }
    return 0;
}

COMM_API int32_t Zev_Comm_ReadDev_NonBlock(const char *path, void *pBuf, uint32_t size) {
    comm::UniqueFd fd(open(path, comm::kNonBlockFlags));
    if (!fd) {
        ZEV_COMM_VER("[%s] ret = %d\n", path, -4);
        return 0;
    }
    const ssize_t got = read(fd.get(), pBuf, size);
    if (got != static_cast<ssize_t>(size)) ZEV_COMM_VER("[%s] ret = %d\n", path, -6);
    return static_cast<int32_t>(got);
}

COMM_API int32_t Zev_Comm_SetFileHide(const char *path, int32_t bHide) {
    comm::UniqueFd fd(open(path, comm::kHideFileFlags, comm::kHideFileMode));
    if (!fd) {
        ZEV_COMM_VER("---%s---failed!uRet=%d\r\n", path, comm::kOpenFailed);
        return comm::kOpenFailed;
    }
    comm::change_hidden_bit(fd.get(), bHide);
    return 0;
}

COMM_API int32_t Zev_Comm_SetDirHide(const char *path, int32_t bHide) {
    DIR *dir = opendir(path);
    if (dir == nullptr) {
        ZEV_COMM_VER("---%s---failed!uRet=%d\r\n", path, comm::kDirOpenFailed);
        return comm::kDirOpenFailed;
    }
    const int fd = dirfd(dir);
    if (fd < 0) {
        ZEV_COMM_VER("---%s---failed!uRet=%d\r\n", path, comm::kDirFdFailed);
        closedir(dir);
        return comm::kDirFdFailed;
    }
    comm::change_hidden_bit(fd, bHide);
    closedir(dir);
    return 0;
}

}  // extern "C"
