// The registry of board parts.
#include <algorithm>
#include <cstring>

#include "board.hpp"

namespace comm::sim {
namespace {
std::vector<BoardPart> &registered() {
    static std::vector<BoardPart> parts;
    return parts;
}
}  // namespace

PartRegistrar::PartRegistrar(const BoardPart &part) { registered().push_back(part); }

std::vector<BoardPart> board_parts() {
    std::vector<BoardPart> parts = registered();
    std::sort(parts.begin(), parts.end(),
              [](const BoardPart &a, const BoardPart &b) { return strcmp(a.name, b.name) < 0; });
    return parts;
}

std::string board_option(const Board &board, const std::string &name, const std::string &fallback) {
    std::string value = fallback;
    for (const std::string &opt : board.options) {
        if (opt.size() > name.size() && opt.compare(0, name.size(), name) == 0 && opt[name.size()] == '=')
            value = opt.substr(name.size() + 1);
    }
    return value;
}

}  // namespace comm::sim
