// Preloaded into every program that boardsim runs: gives the simulated
// sysfs the kernel's reactions to writes. A write to an attribute is acted
// on when its descriptor is closed, before close returns, so that the
// program sees the result at once, as it would with the real driver.
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board_tree.hpp"

namespace {

thread_local bool t_busy = false;

bool ends_with(const std::string &s, const char *suffix) {
    const size_t n = strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

// The folder of the board's device tree that boardsim exported.
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

std::string parent(const std::string &path) { return path.substr(0, path.rfind('/')); }

void react(const std::string &path, const std::string &root) {
    using namespace comm::sim;
    if (path.compare(0, root.size(), root) != 0) return;
    if (ends_with(path, "/sys/class/gpio/export")) {
        gpio_export(parent(path), read_text(path));
        write_text(path, "");
    } else if (ends_with(path, "/sys/class/gpio/unexport")) {
        gpio_unexport(parent(path), read_text(path));
        write_text(path, "");
    } else if (path.find("/sys/class/gpio/gpio") != std::string::npos && ends_with(path, "/direction")) {
        gpio_normalise_direction(parent(path));
    } else if (path.find("/sys/class/gpio/gpio") != std::string::npos && ends_with(path, "/value")) {
        gpio_normalise_value(parent(path));
    }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int close(int fd) {
    using close_fn = int (*)(int);
    static close_fn real_close = reinterpret_cast<close_fn>(dlsym(RTLD_NEXT, "close"));
    const char *root = board_root();
    if (root == nullptr || t_busy || fd < 0) return real_close(fd);
    t_busy = true;
    const std::string path = fd_path(fd);
    const int rc = real_close(fd);
    if (!path.empty()) react(path, root);
    t_busy = false;
    return rc;
}
