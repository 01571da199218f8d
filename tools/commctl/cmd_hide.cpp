// SPDX-License-Identifier: MIT
// hide: the FAT hidden attribute of a file or folder.
#include <sys/stat.h>

#include <cstring>

#include "comm_file.h"
#include "command.hpp"

namespace {

const char kUsage[] =
    "usage: commctl hide PATH on|off\n"
    "\n"
    "Sets (on) or clears (off) the hidden attribute of a file or folder on a\n"
    "FAT file system. A missing PATH is created as an empty file. On other\n"
    "file systems nothing changes.\n";

int run_hide(commctl::Args args) {
    if (args.size() != 2) return commctl::usage_error("hide wants a path and on or off");
    const char *path = args[0];
    int32_t hide = 0;
    if (strcmp(args[1], "on") == 0) {
        hide = 1;
    } else if (strcmp(args[1], "off") != 0) {
        return commctl::usage_error("hide wants on or off, not '%s'", args[1]);
    }
    struct stat st {};
    const bool dir = stat(path, &st) == 0 && S_ISDIR(st.st_mode);
    const int32_t r = dir ? Zev_Comm_SetDirHide(path, hide) : Zev_Comm_SetFileHide(path, hide);
    if (r != 0) return commctl::failure("cannot open %s (%d)", path, r);
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(hide, "hide", "set or clear the FAT hidden attribute", kUsage, run_hide);
