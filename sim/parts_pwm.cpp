// The PWM controller pwmchip0 with eight channels: export and unexport in
// the state folder's sysfs, linked into each run's testbed.
#include "board.hpp"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

bool pwm_create(Board &board) {
    const std::string chip = board.tree + "/sys/class/pwm/pwmchip0";
    return write_text(chip + "/export", "") && write_text(chip + "/unexport", "") &&
           write_text(chip + "/npwm", "8\n");
}

// A state folder made before the board had PWM gets the controller now.
bool pwm_attach(Board &board) {
    if (!exists(board.tree + "/sys/class/pwm/pwmchip0/npwm") && !pwm_create(board)) return false;
    return link_into_root(board, "sys/class/pwm");
}

}  // namespace
BOARDSIM_PART(pwm, pwm_create, pwm_attach);
}  // namespace comm::sim
