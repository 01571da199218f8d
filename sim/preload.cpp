// SPDX-License-Identifier: MIT
// Preloaded into every program that boardsim runs: gives the simulated
// sysfs the kernel's reactions to writes. A write to an attribute is acted
// on when its descriptor is closed, before close returns, so that the
// program sees the result at once, as it would with the real driver.
#include "preload.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace comm::sim {
namespace {

thread_local bool t_busy = false;

const CloseReaction *reaction_for(const std::string &path) {
    return registry::find_if<CloseReaction>([&](const CloseReaction &r) { return r.matches(path); });
}

}  // namespace

const char *board_root() {
    const char *root = getenv("BOARDSIM_ROOT");
    return (root != nullptr && *root != '\0') ? root : nullptr;
}

std::string fd_path(int fd) {
    char link[64];
    char target[PATH_MAX];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, target, sizeof target - 1);
    if (n <= 0) return {};
    return std::string(target, static_cast<size_t>(n));
}

bool ends_with(const std::string &s, const char *suffix) {
    const size_t n = strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

std::string parent_dir(const std::string &path) { return path.substr(0, path.rfind('/')); }

}  // namespace comm::sim

extern "C" __attribute__((visibility("default"))) int close(int fd) {
    using namespace comm::sim;
    using close_fn = int (*)(int);
    static close_fn real_close = reinterpret_cast<close_fn>(dlsym(RTLD_NEXT, "close"));
    const char *root = board_root();
    if (root == nullptr || t_busy || fd < 0) return real_close(fd);
    t_busy = true;
    const std::string path = fd_path(fd);
    const int rc = real_close(fd);
    if (path.compare(0, strlen(root), root) == 0) {
        if (const CloseReaction *r = reaction_for(path)) r->react(path);
    }
    t_busy = false;
    return rc;
}
