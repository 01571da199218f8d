// SPDX-License-Identifier: MIT
// The GPIO class's reactions: export makes gpioN, unexport removes it, and
// direction and value read back as the kernel shows them.
#include "board_sysfs.h"
#include "board_tree.hpp"
#include "preload.hpp"

namespace comm::sim {
namespace {

bool is_pin_attribute(const std::string &path, const char *name) {
    return path.find(COMM_GPIO_CLASS "/gpio") != std::string::npos && ends_with(path, name);
}

bool gpio_matches(const std::string &path) {
    return ends_with(path, COMM_GPIO_EXPORT) || ends_with(path, COMM_GPIO_UNEXPORT) ||
           is_pin_attribute(path, "/" COMM_GPIO_DIRECTION) || is_pin_attribute(path, "/" COMM_GPIO_VALUE);
}

void gpio_react(const std::string &path) {
    if (ends_with(path, COMM_GPIO_EXPORT)) {
        gpio_export(parent_dir(path), read_text(path));
        write_text(path, "");
    } else if (ends_with(path, COMM_GPIO_UNEXPORT)) {
        gpio_unexport(parent_dir(path), read_text(path));
        write_text(path, "");
    } else if (ends_with(path, "/" COMM_GPIO_DIRECTION)) {
        gpio_normalise_direction(parent_dir(path));
    } else {
        gpio_normalise_value(parent_dir(path));
    }
}

}  // namespace
BOARDSIM_CLOSE_REACTION(gpio, gpio_matches, gpio_react);
}  // namespace comm::sim
