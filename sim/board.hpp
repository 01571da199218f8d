// boardsim's board: the state folder that survives runs, the umockdev
// testbed that a run's programs see, and the parts that fill both.
#pragma once

#include <string>
#include <vector>

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace comm::sim {

struct Board {
    std::string state;          // the state folder, kept between runs
    std::string tree;           // state/board: persistent sysfs and procfs
    std::string root;           // the testbed's root (UMOCKDEV_DIR) for this run
    UMockdevTestbed *testbed = nullptr;
    std::vector<std::string> links;  // links made in root, removed at the end
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

// All parts, in the order they are set up.
const std::vector<BoardPart> &board_parts();

// Links root/<rel> to tree/<rel> so that the program sees the persistent
// file or folder through the testbed.
bool link_into_root(Board &board, const std::string &rel);

}  // namespace comm::sim
