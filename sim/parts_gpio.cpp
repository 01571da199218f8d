// SPDX-License-Identifier: MIT
// The GPIO class: export and unexport in the state folder's sysfs, linked
// into each run's testbed.
#include "board.hpp"
#include "board_sysfs.h"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

bool gpio_create(Board &board) { return make_gpio_class(board.tree); }
bool gpio_attach(Board &board) { return link_into_root(board, in_board(COMM_GPIO_CLASS)); }

}  // namespace
BOARDSIM_PART(gpio, gpio_create, gpio_attach);
}  // namespace comm::sim
