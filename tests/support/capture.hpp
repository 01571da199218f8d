// Captures what the process writes to standard output, library log lines
// included: fd 1 goes to a temporary file until take() or destruction.
#pragma once

#include <string>

namespace testsupport {

class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture &) = delete;
    StdoutCapture &operator=(const StdoutCapture &) = delete;

    // Flushes stdout and returns everything written since the last take().
    std::string take();

private:
    int saved_fd_ = -1;
    int file_fd_ = -1;
    long long offset_ = 0;
};

// Runs fn with stdout captured and returns what it printed.
template <typename Fn>
std::string capture_stdout(Fn &&fn) {
    StdoutCapture cap;
    fn();
    return cap.take();
}

}  // namespace testsupport
