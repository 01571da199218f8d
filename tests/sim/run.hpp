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

}  // namespace testsupport
