// SPDX-License-Identifier: MIT
#include "json.hpp"

#include <cinttypes>
#include <cstdio>

namespace commctl {

namespace {

bool g_json = false;

// Control characters and bytes from the device (field values, file names)
// are escaped; everything else passes as it is.
void put_string(std::string_view s) {
    putchar('"');
    for (const char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            putchar('\\');
            putchar(c);
        } else if (c < 0x20 || c >= 0x7f) {
            printf("\\u%04x", c);
        } else {
            putchar(c);
        }
    }
    putchar('"');
}

}  // namespace

std::string hex_text(const unsigned char *p, size_t n) {
    static const char kDigits[] = "0123456789abcdef";
    std::string s;
    s.reserve(2 * n);
    for (size_t i = 0; i < n; ++i) {
        s += kDigits[p[i] >> 4];
        s += kDigits[p[i] & 15];
    }
    return s;
}

bool json_wanted() { return g_json; }
void set_json_wanted(bool on) { g_json = on; }

JsonOut::JsonOut() {
    fflush(stdout);  // the library's log lines, if any, stand before the object
    putchar('{');
}

void JsonOut::key(std::string_view k) {
    if (!first_) fputs(", ", stdout);
    first_ = false;
    put_string(k);
    fputs(": ", stdout);
}

JsonOut &JsonOut::num(std::string_view k, int64_t value) {
    key(k);
    printf("%" PRId64, value);
    return *this;
}

JsonOut &JsonOut::str(std::string_view k, std::string_view value) {
    key(k);
    put_string(value);
    return *this;
}

JsonOut &JsonOut::flag(std::string_view k, bool value) {
    key(k);
    fputs(value ? "true" : "false", stdout);
    return *this;
}

JsonOut &JsonOut::null(std::string_view k) {
    key(k);
    fputs("null", stdout);
    return *this;
}

JsonOut &JsonOut::nest(std::string_view k) {
    key(k);
    putchar('{');
    first_ = true;
    ++depth_;
    return *this;
}

JsonOut &JsonOut::end() {
    putchar('}');
    first_ = false;
    if (--depth_ == 0) putchar('\n');
    return *this;
}

}  // namespace commctl
