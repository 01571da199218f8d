// SPDX-License-Identifier: MIT
// Captures what the process writes to standard output, library log lines
// included: fd 1 goes to a temporary file while the function runs.
#pragma once

#include <string>

namespace testsupport {

struct Redirect {
    int saved_fd, file_fd;
};
Redirect redirect_stdout();
std::string restore_stdout(Redirect r);  // everything written since redirect_stdout()

// Runs fn with stdout captured and returns what it printed.
template <typename Fn>
std::string capture_stdout(Fn &&fn) {
    const Redirect r = redirect_stdout();
    fn();
    return restore_stdout(r);
}

}  // namespace testsupport
