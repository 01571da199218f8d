// SPDX-License-Identifier: MIT
// sd: the SD card's device, name and size from /proc/partitions.
#include "comm_sd.h"
#include "command.hpp"
#include "json.hpp"

namespace {

const char kUsage[] =
    "usage: commctl sd\n"
    "\n"
    "Finds the SD card in /proc/partitions (its first partition when there is\n"
    "one) and shows its device path, name and size.\n";

int run_sd(commctl::Args args) {
    if (!args.empty()) return commctl::usage_error("sd takes no arguments");
    char path[64] = {};
    if (Zev_Comm_GetStorageDev(path) != 0) return commctl::failure("no SD card in /proc/partitions");
    char name[64] = {};
    const int32_t r = Zev_Comm_GetStorageDevName(name);
    if (r != 0) return commctl::failure("SD card %s has no device node (%d)", path, r);
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .str("device", path)
            .str("name", name)
            .num("size_kb", Zev_Comm_GetStorageSizeKB(name))
            .num("size_mb", Zev_Comm_GetStorageSizeMB(name))
            .end();
        return commctl::kOk;
    }
    printf("device %s\n", path);
    printf("name   %s\n", name);
    printf("size   %d KB (%d MB)\n", Zev_Comm_GetStorageSizeKB(name), Zev_Comm_GetStorageSizeMB(name));
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(sd, "sd", "show the SD card's device, name and size", kUsage, run_sd);
