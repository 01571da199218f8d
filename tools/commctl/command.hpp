// SPDX-License-Identifier: MIT
// commctl's subcommands: each command file registers itself with
// COMMCTL_COMMAND, so adding a command never touches another file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

#include "registry.hpp"

namespace commctl {

using Args = std::span<char *const>;  // the words after the command name

struct Command {
    const char *name;
    const char *summary;  // one line for the command list
    const char *usage;    // the full --help text
    int (*run)(Args args);
};

#define COMMCTL_COMMAND(ident, name, summary, usage, fn) \
    COMM_REGISTER(::commctl::Command, ident##_command, name, summary, usage, fn)

// Exit statuses.
constexpr int kOk = 0;
constexpr int kFailed = 1;  // the library reported a failure
constexpr int kUsage = 2;   // the command line was wrong

// Prints "commctl: <message>" to stderr and returns kUsage / kFailed.
[[gnu::format(printf, 1, 2)]] int usage_error(const char *fmt, ...);
[[gnu::format(printf, 1, 2)]] int failure(const char *fmt, ...);

// Whole-word number parsing; false on anything that is not a number in range.
bool parse_i32(std::string_view text, int32_t &out);
bool parse_u32(std::string_view text, uint32_t &out);
bool parse_i64(std::string_view text, int64_t &out);

// True when "--help" or "-h" comes before the first operand (a word not
// starting with '-', or "--"): `commctl run echo --help` runs echo.
bool wants_help(Args args);

// Reads a whole file into memory; false (with errno set) on failure.
bool read_file(const char *path, std::string_view &out, void *&owner);
void free_file(void *owner);

}  // namespace commctl
