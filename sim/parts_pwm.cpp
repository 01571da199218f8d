// SPDX-License-Identifier: MIT
// The PWM controller pwmchip0 with its channels: export and unexport in
// the state folder's sysfs, linked into each run's testbed.
#include "board.hpp"
#include "board_sysfs.h"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

bool pwm_create(Board &board) {
    return write_text(board.tree + COMM_PWM_EXPORT, "") && write_text(board.tree + COMM_PWM_UNEXPORT, "") &&
           write_text(board.tree + COMM_PWM_NPWM, std::to_string(COMM_PWM_CHANNELS) + "\n");
}

// A state folder made before the board had PWM gets the controller now.
bool pwm_attach(Board &board) {
    if (!exists(board.tree + COMM_PWM_NPWM) && !pwm_create(board)) return false;
    return link_into_root(board, in_board(COMM_PWM_CLASS));
}

}  // namespace
BOARDSIM_PART(pwm, pwm_create, pwm_attach);
}  // namespace comm::sim
