// SPDX-License-Identifier: MIT
#include "capture.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace testsupport {

Redirect redirect_stdout() {
    fflush(stdout);
    char name[] = "/tmp/comm-stdout-XXXXXX";
    const Redirect r = {dup(STDOUT_FILENO), mkstemp(name)};
    if (r.file_fd < 0) abort();
    unlink(name);
    dup2(r.file_fd, STDOUT_FILENO);
    return r;
}

std::string restore_stdout(Redirect r) {
    fflush(stdout);
    dup2(r.saved_fd, STDOUT_FILENO);
    close(r.saved_fd);
    std::string out;
    char buf[4096];
    for (ssize_t n; (n = pread(r.file_fd, buf, sizeof buf, static_cast<off_t>(out.size()))) > 0;)
        out.append(buf, static_cast<size_t>(n));
    close(r.file_fd);
    return out;
}

}  // namespace testsupport
