// SPDX-License-Identifier: MIT
// The simulated board's device tree: the folders and attributes that stand
// for the kernel's sysfs and procfs, and what the kernel does when they are
// written. Shared by boardsim, its preload library and the tests.
#pragma once

#include <string>

namespace comm::sim {

// Creates the parents of `path` and writes `content` to it (replacing it).
bool write_text(const std::string &path, const std::string &content);
// Reads a whole file; empty when it cannot be read.
std::string read_text(const std::string &path);
bool make_dirs(const std::string &path);
bool remove_tree(const std::string &path);
bool exists(const std::string &path);

// The GPIO class under root/sys/class/gpio: export and unexport, empty.
bool make_gpio_class(const std::string &root);

// What the kernel does on a write of `text` to export / unexport: makes or
// removes gpioN. A line keeps its direction and value while unexported
// (direction "in" and value 0 at first); numbers beyond the board's lines,
// and pins that are already (un)exported, are left alone, as the kernel
// refuses the write.
void gpio_export(const std::string &gpio_dir, const std::string &text);
void gpio_unexport(const std::string &gpio_dir, const std::string &text);
// Turns what was written to gpioN/direction or gpioN/value into the text
// the kernel would show ("out\n", "1\n"); "high" and "low" set the value
// too, and a value written to an input is refused (the level stays).
void gpio_normalise_direction(const std::string &pin_dir);
void gpio_normalise_value(const std::string &pin_dir);

}  // namespace comm::sim
