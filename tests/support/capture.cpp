#include "capture.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace testsupport {

StdoutCapture::StdoutCapture() {
    fflush(stdout);
    char name[] = "/tmp/comm-stdout-XXXXXX";
    file_fd_ = mkstemp(name);
    if (file_fd_ < 0) abort();
    unlink(name);
    saved_fd_ = dup(STDOUT_FILENO);
    dup2(file_fd_, STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture() {
    fflush(stdout);
    dup2(saved_fd_, STDOUT_FILENO);
    close(saved_fd_);
    close(file_fd_);
}

std::string StdoutCapture::take() {
    fflush(stdout);
    std::string out;
    char buf[4096];
    ssize_t n;
    while ((n = pread(file_fd_, buf, sizeof buf, offset_)) > 0) {
        out.append(buf, static_cast<size_t>(n));
        offset_ += n;
    }
    return out;
}

}  // namespace testsupport
