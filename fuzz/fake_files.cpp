// SPDX-License-Identifier: MIT
#include "fake_files.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace fuzz {
namespace {

struct File {
    int memfd = -1;
    int reads = 0, fail_from = 0, fail_count = 0;
    size_t short_len = 0;
};

std::map<std::string, File> &files() {
    static std::map<std::string, File> f;
    return f;
}
std::map<int, File *> &open_fds() {
    static std::map<int, File *> f;
    return f;
}

template <typename Fn>
Fn next(const char *name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

// A descriptor of its own on the file's bytes, at offset 0; -1 when the path
// is not one of ours.
int open_fake(const char *path) {
    if (path == nullptr) return -1;
    auto it = files().find(path);
    if (it == files().end()) return -1;
    char proc[64];
    snprintf(proc, sizeof proc, "/proc/self/fd/%d", it->second.memfd);
    static const auto real_open = next<int (*)(const char *, int, ...)>("open");
    const int fd = real_open(proc, O_RDWR | O_CLOEXEC);
    if (fd < 0) abort();
    return fd;
}

}  // namespace

void set_file(const std::string &path, const uint8_t *data, size_t size) {
    File &f = files()[path];
    if (f.memfd < 0) f.memfd = memfd_create("fuzz", MFD_CLOEXEC);
    if (f.memfd < 0 || ftruncate(f.memfd, 0) != 0) abort();
    if (size != 0 && pwrite(f.memfd, data, size, 0) != static_cast<ssize_t>(size)) abort();
    f.reads = f.fail_from = f.fail_count = 0;
}

void set_file(const std::string &path, const std::string &bytes) {
    set_file(path, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

std::string file_bytes(const std::string &path) {
    const File &f = files().at(path);
    const off_t size = lseek(f.memfd, 0, SEEK_END);
    std::string bytes(static_cast<size_t>(size), '\0');
    if (size > 0 && pread(f.memfd, bytes.data(), bytes.size(), 0) != size) abort();
    return bytes;
}

void fail_reads(const std::string &path, int from, int count, size_t short_len) {
    File &f = files().at(path);
    f.reads = 0;
    f.fail_from = from;
    f.fail_count = count;
    f.short_len = short_len;
}

}  // namespace fuzz

// The library reaches these through the dynamic linker, so the program's own
// definitions come first.
extern "C" {

FILE *fopen(const char *path, const char *mode) {
    static const auto real = fuzz::next<FILE *(*)(const char *, const char *)>("fopen");
    const int fd = fuzz::open_fake(path);
    return fd < 0 ? real(path, mode) : fdopen(fd, mode);
}

int open(const char *path, int flags, ...) {
    static const auto real = fuzz::next<int (*)(const char *, int, ...)>("open");
    const int fd = fuzz::open_fake(path);
    // Only descriptors of open are watched for planned read faults: a
    // stream's fclose closes its descriptor without passing through here.
    if (fd >= 0) {
        fuzz::open_fds()[fd] = &fuzz::files()[path];
        return fd;
    }
    va_list ap;
    va_start(ap, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(ap, mode_t) : 0;
    va_end(ap);
    return real(path, flags, mode);
}

int close(int fd) {
    static const auto real = fuzz::next<int (*)(int)>("close");
    fuzz::open_fds().erase(fd);
    return real(fd);
}

// AddressSanitizer's own read, which checks the buffer, when it is linked in.
ssize_t __interceptor_read(int fd, void *buf, size_t count) __attribute__((weak));

ssize_t read(int fd, void *buf, size_t count) {
    static const auto real = __interceptor_read != nullptr
                                 ? __interceptor_read
                                 : fuzz::next<ssize_t (*)(int, void *, size_t)>("read");
    auto it = fuzz::open_fds().find(fd);
    if (it == fuzz::open_fds().end() || it->second->fail_count == 0) return real(fd, buf, count);
    fuzz::File &f = *it->second;
    ++f.reads;
    if (f.reads < f.fail_from || f.reads >= f.fail_from + f.fail_count) return real(fd, buf, count);
    if (f.short_len == 0) {
        errno = EIO;
        return -1;
    }
    return real(fd, buf, count < f.short_len ? count : f.short_len);
}

// The library's pauses (the SD card's retries) take no time here.
int usleep(useconds_t) { return 0; }

}  // extern "C"
