// The GPIO class's reactions: export makes gpioN, unexport removes it, and
// direction and value read back as the kernel shows them.
#include "board_tree.hpp"
#include "preload.hpp"

namespace comm::sim {
namespace {

bool is_pin_attribute(const std::string &path, const char *name) {
    return path.find("/sys/class/gpio/gpio") != std::string::npos && ends_with(path, name);
}

bool gpio_matches(const std::string &path) {
    return ends_with(path, "/sys/class/gpio/export") || ends_with(path, "/sys/class/gpio/unexport") ||
           is_pin_attribute(path, "/direction") || is_pin_attribute(path, "/value");
}

void gpio_react(const std::string &path) {
    if (ends_with(path, "/sys/class/gpio/export")) {
        gpio_export(parent_dir(path), read_text(path));
        write_text(path, "");
    } else if (ends_with(path, "/sys/class/gpio/unexport")) {
        gpio_unexport(parent_dir(path), read_text(path));
        write_text(path, "");
    } else if (ends_with(path, "/direction")) {
        gpio_normalise_direction(parent_dir(path));
    } else {
        gpio_normalise_value(parent_dir(path));
    }
}

}  // namespace
BOARDSIM_CLOSE_REACTION(gpio, gpio_matches, gpio_react);
}  // namespace comm::sim
