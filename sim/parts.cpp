// The parts of the simulated board.
#include "board.hpp"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

bool gpio_create(Board &board) { return make_gpio_class(board.tree); }
bool gpio_attach(Board &board) { return link_into_root(board, "sys/class/gpio"); }

}  // namespace

const std::vector<BoardPart> &board_parts() {
    static const std::vector<BoardPart> parts = {
        {"gpio", gpio_create, gpio_attach},
    };
    return parts;
}

}  // namespace comm::sim
