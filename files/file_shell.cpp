// SPDX-License-Identifier: MIT
// The two file chores that go through the shell: touch and rm -rf.
#include <cstdio>

#include "comm_file.h"
#include "comm_log.h"
#include "comm_sys.h"

namespace comm {
namespace {

constexpr size_t kCommandSize = 128;

// Formats "VERB PATH" and runs it; a command that would be cut is not run
// at all, so that a cut path can never name its parent instead.
void run_path_command(const char *name, const char *verb, const char *path) {
    char command[kCommandSize] = {};
    const int n = snprintf(command, sizeof command, "%s %s", verb, path);
    if (n < 0 || static_cast<size_t>(n) >= sizeof command) {
        ZEV_COMM_LOG_AS(VER, name, "---%s---too long\r\n", path);
        return;
    }
    // Handed over as an argument, never as a format: a "%" stays a "%".
    (void)Zev_Comm_SystemEx("%s", command);
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_CreateNormalFile(const char *path) {
    comm::run_path_command(__func__, "touch", path);
    return 1;
}

COMM_API int32_t Zev_Comm_DeleteFile(const char *path) {
    comm::run_path_command(__func__, "rm -rf", path);
    return 1;
}

}  // extern "C"
