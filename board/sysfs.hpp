// SPDX-License-Identifier: MIT
// One write to a sysfs attribute: open write-only, write, close. Only the
// open is tested; whether the kernel took the bytes is its own business.
#pragma once

#include <fcntl.h>

#include <cstddef>

#include "frame/handles.hpp"

namespace comm {

inline bool write_attribute(const char *path, const void *bytes, size_t len) {
    UniqueFd fd(open(path, O_WRONLY));
    if (!fd) return false;
    (void)!write(fd.get(), bytes, len);
    return true;
}

}  // namespace comm
