// SPDX-License-Identifier: MIT
// A private temporary folder, removed with everything in it at the end.
#pragma once

#include <string>

namespace testsupport {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &path() const { return path_; }
    std::string operator/(const std::string &rel) const { return path_ + "/" + rel; }

private:
    std::string path_;
};

// File helpers for tests: whole-file read and write, parents created.
bool write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);
bool file_exists(const std::string &path);

}  // namespace testsupport
