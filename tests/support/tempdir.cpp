// SPDX-License-Identifier: MIT
#include "tempdir.hpp"

#include <cstdlib>

#include "board_tree.hpp"

namespace testsupport {

TempDir::TempDir() {
    const char *base = getenv("TMPDIR");
    std::string templ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/comm-test-XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) abort();
    path_ = templ;
}

TempDir::~TempDir() { comm::sim::remove_tree(path_); }

bool write_file(const std::string &path, const std::string &content) {
    return comm::sim::write_text(path, content);
}
std::string read_file(const std::string &path) { return comm::sim::read_text(path); }
bool file_exists(const std::string &path) { return comm::sim::exists(path); }

}  // namespace testsupport
