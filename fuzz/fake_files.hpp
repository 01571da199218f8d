// SPDX-License-Identifier: MIT
// Files the library opens, served from memory, so that a fuzz target hands
// its input to the very code that reads /proc texts, flash devices and media
// files. A path named here is opened by the library's fopen and open as an
// anonymous file holding its bytes; what the library writes stays there for
// the next open. Other paths go to the real calls. usleep returns at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// Gives `path` these bytes (replacing what it held).
void set_file(const std::string &path, const uint8_t *data, size_t size);
void set_file(const std::string &path, const std::string &bytes);
std::string file_bytes(const std::string &path);

// Makes reads number `from` to `from + count - 1` (counted from 1 from now
// on) of descriptors opened on `path` fail with EIO, or, when `short_len` is
// not 0, hand over at most `short_len` bytes. A count of 0 lets all through.
void fail_reads(const std::string &path, int from, int count, size_t short_len);

}  // namespace fuzz
