// SPDX-License-Identifier: MIT
// The PWM class's reactions: export makes pwmN with the kernel's attributes,
// unexport removes it, and each attribute reads back as the kernel shows it.
// A sysfs write replaces the attribute's value whatever its length, so opens
// of a channel attribute for writing are given O_TRUNC here.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board_sysfs.h"
#include "board_tree.hpp"
#include "preload.hpp"

namespace comm::sim {
namespace {

constexpr const char *kChip = COMM_PWM_CHIP;

bool is_chip_file(const std::string &path, const char *name) {
    return ends_with(path, (std::string(kChip) + "/" + name).c_str());
}

bool is_channel_attribute(const std::string &path) {
    const size_t at = path.find(std::string(kChip) + "/pwm");
    return at != std::string::npos && path.find('/', at + strlen(kChip) + 1) != std::string::npos;
}

// The channel number of an export/unexport text, or -1.
int channel_of(const std::string &text, int channels) {
    char *end = nullptr;
    const long n = strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || n < 0 || n >= channels) return -1;
    return static_cast<int>(n);
}

int channel_count(const std::string &chip) {
    const int n = atoi(read_text(chip + "/npwm").c_str());
    return n > 0 ? n : 0;
}

void pwm_export(const std::string &chip, const std::string &text) {
    const int ch = channel_of(text, channel_count(chip));
    if (ch < 0) return;
    const std::string dir = chip + "/pwm" + std::to_string(ch);
    if (exists(dir)) return;  // the kernel refuses a second export
    write_text(dir + "/" COMM_PWM_PERIOD, "0\n");
    write_text(dir + "/" COMM_PWM_DUTY_CYCLE, "0\n");
    write_text(dir + "/" COMM_PWM_POLARITY, "normal\n");
    write_text(dir + "/" COMM_PWM_ENABLE, "0\n");
}

void pwm_unexport(const std::string &chip, const std::string &text) {
    const int ch = channel_of(text, channel_count(chip));
    if (ch >= 0) remove_tree(chip + "/pwm" + std::to_string(ch));
}

// What the kernel shows after a write; a refused write keeps the old value,
// which the preload cannot see any more, so it shows the nearest valid one.
void normalise_attribute(const std::string &path) {
    const std::string text = read_text(path);
    if (ends_with(path, "/" COMM_PWM_POLARITY)) {
        write_text(path, text.compare(0, 8, "inversed") == 0 ? "inversed\n" : "normal\n");
    } else if (ends_with(path, "/" COMM_PWM_ENABLE)) {
        write_text(path, atoi(text.c_str()) != 0 ? "1\n" : "0\n");
    } else {
        write_text(path, std::to_string(atol(text.c_str())) + "\n");
    }
}

bool pwm_matches(const std::string &path) {
    return is_chip_file(path, "export") || is_chip_file(path, "unexport") || is_channel_attribute(path);
}

void pwm_react(const std::string &path) {
    if (is_chip_file(path, "export")) {
        pwm_export(parent_dir(path), read_text(path));
        write_text(path, "");
    } else if (is_chip_file(path, "unexport")) {
        pwm_unexport(parent_dir(path), read_text(path));
        write_text(path, "");
    } else {
        normalise_attribute(path);
    }
}

int truncating_flags(const char *path, int flags) {
    if (path != nullptr && (flags & O_ACCMODE) != O_RDONLY && getenv("BOARDSIM_ROOT") != nullptr &&
        is_channel_attribute(path))
        flags |= O_TRUNC;
    return flags;
}

}  // namespace
BOARDSIM_CLOSE_REACTION(pwm, pwm_matches, pwm_react);
}  // namespace comm::sim

namespace {

using open_fn = int (*)(const char *, int, ...);

int forward_open(open_fn real, const char *path, int flags, va_list ap) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE)
        mode = static_cast<mode_t>(va_arg(ap, int));
    return real(path, comm::sim::truncating_flags(path, flags), mode);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int open(const char *path, int flags, ...) {
    static open_fn real = reinterpret_cast<open_fn>(dlsym(RTLD_NEXT, "open"));
    va_list ap;
    va_start(ap, flags);
    const int fd = forward_open(real, path, flags, ap);
    va_end(ap);
    return fd;
}

extern "C" __attribute__((visibility("default"))) int open64(const char *path, int flags, ...) {
    static open_fn real = reinterpret_cast<open_fn>(dlsym(RTLD_NEXT, "open64"));
    va_list ap;
    va_start(ap, flags);
    const int fd = forward_open(real, path, flags, ap);
    va_end(ap);
    return fd;
}
