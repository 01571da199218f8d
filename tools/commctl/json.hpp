// SPDX-License-Identifier: MIT
// commctl --json: one JSON object per command on stdout, written as the
// command goes. Keys are fixed names; numbers stay numbers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace commctl {

// True when the user asked for --json.
bool json_wanted();
void set_json_wanted(bool on);

// Lower-case hex digits of n bytes, two per byte.
std::string hex_text(const unsigned char *p, size_t n);

// Writes {"key": value, ...} to stdout; nest() opens an object under a key,
// end() closes the innermost one and, at the top, ends the line.
class JsonOut {
public:
    JsonOut();
    JsonOut(const JsonOut &) = delete;
    JsonOut &operator=(const JsonOut &) = delete;
    JsonOut &num(std::string_view key, int64_t value);
    JsonOut &str(std::string_view key, std::string_view value);
    JsonOut &flag(std::string_view key, bool value);
    JsonOut &null(std::string_view key);
    JsonOut &nest(std::string_view key);
    JsonOut &end();

private:
    void key(std::string_view k);
    int depth_ = 1;
    bool first_ = true;
};

}  // namespace commctl
