// SPDX-License-Identifier: MIT
#include "board_tree.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "board_sysfs.h"
#include "gpio_lines.h"

namespace comm::sim {

bool make_dirs(const std::string &path) {
    if (path.empty()) return false;
    for (size_t pos = 1; pos <= path.size(); ++pos) {
        if (pos != path.size() && path[pos] != '/') continue;
        const std::string part = path.substr(0, pos);
        if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
    return true;
}

bool write_text(const std::string &path, const std::string &content) {
    const size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0 && !make_dirs(path.substr(0, slash))) return false;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    close(fd);
    return done == content.size();
}

std::string read_text(const std::string &path) {
    std::string out;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return out;
    char buf[4096];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
    close(fd);
    return out;
}

bool exists(const std::string &path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

bool remove_tree(const std::string &path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) return errno == ENOENT;
    if (S_ISDIR(st.st_mode)) {
        DIR *d = opendir(path.c_str());
        if (d == nullptr) return false;
        while (const dirent *e = readdir(d)) {
            if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0) continue;
            remove_tree(path + "/" + e->d_name);
        }
        closedir(d);
        return rmdir(path.c_str()) == 0;
    }
    return unlink(path.c_str()) == 0;
}

bool make_gpio_class(const std::string &root) {
    return make_dirs(root + COMM_GPIO_CLASS) && write_text(root + COMM_GPIO_EXPORT, "") &&
           write_text(root + COMM_GPIO_UNEXPORT, "");
}

namespace {

// The kernel reads the text up to the first zero byte or line end.
bool parse_pin(const std::string &text, int &pin) {
    const std::string s = text.substr(0, text.find_first_of(std::string("\0\n", 2)));
    if (s.empty()) return false;
    char *end = nullptr;
    const long v = strtol(s.c_str(), &end, 10);
    if (end == s.c_str() || *end != '\0' || v < 0 || v > 100000) return false;
    pin = static_cast<int>(v);
    return true;
}

std::string first_word(const std::string &text) {
    return text.substr(0, text.find_first_of(std::string("\0\n", 2)));
}

}  // namespace

// A line keeps its direction and level while it is not exported, as the
// chip's registers do: unexport puts them aside, export brings them back.
namespace {
std::string kept_line(const std::string &gpio_dir, int pin) {
    return gpio_dir + "/../../../gpio-lines/" + std::to_string(pin);
}

std::string kept_line_of(const std::string &pin_dir) {
    const size_t slash = pin_dir.rfind('/');
    return kept_line(pin_dir.substr(0, slash), atoi(pin_dir.c_str() + slash + 5));
}
}  // namespace

void gpio_export(const std::string &gpio_dir, const std::string &text) {
    int pin = 0;
    if (!parse_pin(text, pin) || pin >= COMM_GPIO_LINE_COUNT) return;
    const std::string dir = gpio_dir + "/gpio" + std::to_string(pin);
    if (exists(dir)) return;
    const std::string kept = kept_line(gpio_dir, pin);
    const std::string direction = read_text(kept + "/" COMM_GPIO_DIRECTION),
                      value = read_text(kept + "/" COMM_GPIO_VALUE);
    write_text(dir + "/" COMM_GPIO_DIRECTION, direction.empty() ? "in\n" : direction);
    write_text(dir + "/" COMM_GPIO_VALUE, value.empty() ? "0\n" : value);
    if (value.empty()) write_text(kept + "/" COMM_GPIO_VALUE, "0\n");
    write_text(dir + "/active_low", "0\n");
    write_text(dir + "/edge", "none\n");
}

void gpio_unexport(const std::string &gpio_dir, const std::string &text) {
    int pin = 0;
    if (!parse_pin(text, pin)) return;
    const std::string dir = gpio_dir + "/gpio" + std::to_string(pin);
    if (!exists(dir)) return;
    const std::string kept = kept_line(gpio_dir, pin);
    write_text(kept + "/direction", read_text(dir + "/direction"));
    write_text(kept + "/value", read_text(dir + "/value"));
    remove_tree(dir);
}

void gpio_normalise_direction(const std::string &pin_dir) {
    const std::string direction = pin_dir + "/" COMM_GPIO_DIRECTION;
    const std::string word = first_word(read_text(direction));
    if (word == "in" || word == "out") {
        write_text(direction, word + "\n");
    } else if (word == "high" || word == "low") {
        write_text(pin_dir + "/" COMM_GPIO_DIRECTION, "out\n");
        write_text(pin_dir + "/" COMM_GPIO_VALUE, word == "high" ? "1\n" : "0\n");
        write_text(kept_line_of(pin_dir) + "/" COMM_GPIO_VALUE, word == "high" ? "1\n" : "0\n");
    }
}

// The kernel refuses a value written to an input: the level stays.
void gpio_normalise_value(const std::string &pin_dir) {
    const std::string kept = kept_line_of(pin_dir) + "/" COMM_GPIO_VALUE;
    std::string value = read_text(kept);
    if (first_word(read_text(pin_dir + "/" COMM_GPIO_DIRECTION)) != "in" || value.empty()) {
        const std::string word = first_word(read_text(pin_dir + "/" COMM_GPIO_VALUE));
        value = (!word.empty() && atoi(word.c_str()) != 0) ? "1\n" : "0\n";
    }
    write_text(pin_dir + "/" COMM_GPIO_VALUE, value);
    write_text(kept, value);
}

}  // namespace comm::sim
