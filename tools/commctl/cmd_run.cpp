// SPDX-License-Identifier: MIT
// run: a shell command through the library, printing what came back.
#include <cstdio>
#include <cstring>
#include <string>

#include "comm_sys.h"
#include "command.hpp"

namespace {

const char kUsage[] =
    "usage: commctl run CMD [ARGS...]\n"
    "\n"
    "Runs the words, joined by blanks, as one shell command and prints the first\n"
    "4095 bytes of its standard output. The command's exit status is not\n"
    "reported; a command that prints nothing is a failure (exit 1).\n";

int run_run(commctl::Args args) {
    if (args.empty()) return commctl::usage_error("run wants a command");
    std::string cmd;
    for (const char *a : args) {
        if (!cmd.empty()) cmd += ' ';
        cmd += a;
    }
    static char out[4096];
    memset(out, 0, sizeof out);
    const int32_t rc = Zev_Comm_Cmd(cmd.c_str(), out, sizeof out);
    if (rc == -1) return commctl::failure("cannot start '%s'", cmd.c_str());
    if (rc == -2) return commctl::failure("'%s' gave no output", cmd.c_str());
    fwrite(out, 1, strlen(out), stdout);
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(run, "run", "run a shell command and print its output", kUsage, run_run);
