// SPDX-License-Identifier: MIT
// Runs a program and collects its exit status, stdout and stderr.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

struct RunResult {
    int status = -1;  // exit status, 128 + signal when killed
    std::string out;
    std::string err;
};

RunResult run(const std::vector<std::string> &argv, const std::vector<std::string> &env = {});

// Runs `program` on boardsim with the state folder `state` and the board
// options `opts`, the settings file being the state folder's.
RunResult on_board(const std::string &state, const std::vector<std::string> &program,
                   const std::vector<std::string> &opts = {});

}  // namespace testsupport
