// SPDX-License-Identifier: MIT
// The preload library's registry of reactions: what the simulated kernel
// does when a program closes a descriptor on one of the board's files.
#pragma once

#include <string>

#include "registry.hpp"

namespace comm::sim {

struct CloseReaction {
    const char *name;
    // True when this reaction handles `path` (a real path inside the board).
    bool (*matches)(const std::string &path);
    void (*react)(const std::string &path);
};

#define BOARDSIM_CLOSE_REACTION(ident, matches, react) \
    COMM_REGISTER(::comm::sim::CloseReaction, ident##_reaction, #ident, matches, react)

// The folder of the board's device tree that boardsim exported, or null.
const char *board_root();
// The real path behind a descriptor, or empty.
std::string fd_path(int fd);

bool ends_with(const std::string &s, const char *suffix);
std::string parent_dir(const std::string &path);

}  // namespace comm::sim
