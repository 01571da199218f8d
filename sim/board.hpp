// SPDX-License-Identifier: MIT
// boardsim's board: the state folder that survives runs, the umockdev
// testbed that a run's programs see, and the parts that fill both.
#pragma once

#include <string>
#include <vector>

#include "registry.hpp"

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace comm::sim {

struct Board {
    std::string state;  // the state folder, kept between runs
    std::string tree;   // state/board: persistent sysfs and procfs
    std::string root;   // the testbed's root (UMOCKDEV_DIR) for this run
    UMockdevTestbed *testbed = nullptr;
    std::vector<std::string> links;    // links made in root, removed at the end
    std::vector<std::string> options;  // board options given on the command line
};

// One part of the board (GPIO, flash, PMU ...): `create` fills the state
// folder once (on first use or after --reset), `attach` puts the part into
// the testbed for one run. Both return false with a message on stderr.
struct BoardPart {
    const char *name;
    bool (*create)(Board &board);
    bool (*attach)(Board &board);
};

// All registered parts, sorted by name.
std::vector<const BoardPart *> board_parts();

// Each part registers itself from its own file (sim/parts_NAME.cpp):
//   BOARDSIM_PART(gpio, gpio_create, gpio_attach);
#define BOARDSIM_PART(ident, create, attach) \
    COMM_REGISTER(::comm::sim::BoardPart, ident##_part, #ident, create, attach)

// The value of a board option --NAME=VALUE given to boardsim, or `fallback`.
std::string board_option(const Board &board, const std::string &name, const std::string &fallback);

// A path of the board ("/sys/...") as a path inside the tree or the
// testbed's root ("sys/...").
constexpr const char *in_board(const char *path) { return path[0] == '/' ? path + 1 : path; }

// Links root/<rel> to tree/<rel> so that the program sees the persistent
// file or folder through the testbed.
bool link_into_root(Board &board, const std::string &rel);

}  // namespace comm::sim
