// SPDX-License-Identifier: MIT
// Owning wrappers for descriptors, streams and mappings: every family opens
// through these so that no early return leaves anything open.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace comm {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    UniqueFd(UniqueFd &&other) noexcept : fd_(other.release()) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    explicit operator bool() const { return valid(); }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

class UniqueFile {
public:
    UniqueFile() = default;
    explicit UniqueFile(std::FILE *f) : f_(f) {}
    UniqueFile(const UniqueFile &) = delete;
    UniqueFile &operator=(const UniqueFile &) = delete;
    UniqueFile(UniqueFile &&other) noexcept : f_(other.release()) {}
    UniqueFile &operator=(UniqueFile &&other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~UniqueFile() { reset(); }

    std::FILE *get() const { return f_; }
    explicit operator bool() const { return f_ != nullptr; }
    std::FILE *release() {
        std::FILE *f = f_;
        f_ = nullptr;
        return f;
    }
    void reset(std::FILE *f = nullptr) {
        if (f_ != nullptr) std::fclose(f_);
        f_ = f;
    }

private:
    std::FILE *f_ = nullptr;
};

// A read-only or read-write mapping of a whole file (or a part of it).
class Mapping {
public:
    Mapping() = default;
    Mapping(void *addr, std::size_t len) : addr_(addr), len_(len) {}
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;
    Mapping(Mapping &&other) noexcept : addr_(other.addr_), len_(other.len_) {
        other.addr_ = MAP_FAILED;
        other.len_ = 0;
    }
    ~Mapping() {
        if (addr_ != MAP_FAILED && len_ != 0) ::munmap(addr_, len_);
    }

    bool valid() const { return addr_ != MAP_FAILED; }
    const unsigned char *data() const { return static_cast<const unsigned char *>(addr_); }
    unsigned char *data() { return static_cast<unsigned char *>(addr_); }
    std::size_t size() const { return len_; }

private:
    void *addr_ = MAP_FAILED;
    std::size_t len_ = 0;
};

}  // namespace comm
