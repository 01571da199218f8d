// SPDX-License-Identifier: MIT
// param: one value of a backslash-ended parameter file (KEY=VALUE\).
#include <cstring>

#include "comm_param.h"
#include "command.hpp"
#include "json.hpp"

namespace {

const char kUsage[] =
    "usage: commctl param [--number] FILE KEY\n"
    "\n"
    "Shows KEY's value in FILE, whose entries are KEY=VALUE each ended by a\n"
    "backslash. Only the first 511 bytes of the file are searched, and a key\n"
    "is found wherever its characters first occur. --number shows the value\n"
    "as a number (atoi).\n";

int run_param(commctl::Args args) {
    bool number = false;
    if (!args.empty() && strcmp(args[0], "--number") == 0) {
        number = true;
        args = args.subspan(1);
    }
    if (args.size() != 2) return commctl::usage_error("param wants a file and a key");
    const char *file = args[0];
    const char *key = args[1];
    // The output is untouched when the key is missing: a marker tells.
    char out[512];
    out[0] = '\x01';
    out[1] = '\0';
    if (Zev_Comm_GetStrFromFileBykey(file, key, out) != 0) return commctl::failure("cannot read %s", file);
    if (out[0] == '\x01') return commctl::failure("%s not found in %s", key, file);
    int32_t value = 0;
    if (number) (void)Zev_Comm_GetNumFromFileBykey(file, key, &value);
    if (commctl::json_wanted()) {
        commctl::JsonOut json;
        json.str("file", file).str("key", key);
        if (number) {
            json.num("value", value);
        } else {
            json.str("value", out);
        }
        json.end();
    } else if (number) {
        printf("%d\n", value);
    } else {
        printf("%s\n", out);
    }
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(param, "param", "show a value of a KEY=VALUE\\ parameter file", kUsage, run_param);
