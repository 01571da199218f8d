// SPDX-License-Identifier: MIT
// What every board part has to hand: the list of parts, the board's
// options and the links from the testbed into the state folder.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board.hpp"
#include "board_tree.hpp"

namespace comm::sim {

std::vector<const BoardPart *> board_parts() { return registry::by_name<BoardPart>(); }

std::string board_option(const Board &board, const std::string &name, const std::string &fallback) {
    std::string value = fallback;
    for (const std::string &opt : board.options) {
        if (opt.size() > name.size() && opt.compare(0, name.size(), name) == 0 && opt[name.size()] == '=')
            value = opt.substr(name.size() + 1);
    }
    return value;
}

bool link_into_root(Board &board, const std::string &rel) {
    const std::string target = board.tree + "/" + rel;
    const std::string link = board.root + "/" + rel;
    const size_t slash = link.rfind('/');
    if (!make_dirs(link.substr(0, slash))) return false;
    remove_tree(link);
    if (symlink(target.c_str(), link.c_str()) != 0) {
        fprintf(stderr, "boardsim: cannot link %s: %s\n", link.c_str(), strerror(errno));
        return false;
    }
    board.links.push_back(link);
    return true;
}

}  // namespace comm::sim
