// SPDX-License-Identifier: MIT
// The kernel's lists as the library reads them: the input is /proc/mtd and
// /proc/partitions at once. Partition lookups hand out a size and a device
// path that must fit their buffer and name a block device; the SD card's
// device and size come from the partitions table.
#include <cstdlib>
#include <cstring>
#include <string>

#include "comm_log.h"
#include "comm_mtd.h"
#include "comm_sd.h"
#include "fake_files.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool quiet = (Zev_Comm_SetPrintLev(0), true);
    (void)quiet;
    fuzz::set_file("/proc/mtd", data, size);
    fuzz::set_file("/proc/partitions", data, size);
    for (const char *name : {"KEY_CUST", "KEY_CUST1", "SETTINGS", "", "mtd0"}) {
        (void)Zev_Comm_GetMtdPartSize(name);
        if (const char *path = Zev_Comm_GetMtdPath(name)) {
            if (strnlen(path, 64) >= 64 || strncmp(path, "/dev/mtdblock", 13) != 0) abort();
        }
    }
    char dev[64] = {}, name[64] = {};
    (void)Zev_Comm_GetStorageDev(dev);
    (void)Zev_Comm_GetStorageDevName(name);
    if (strnlen(dev, sizeof dev) == sizeof dev || strnlen(name, sizeof name) == sizeof name) abort();
    for (const char *part : {"mmcblk0", "mmcblk0p1", "sda", "1"}) (void)Zev_Comm_GetStorageSizeMB(part);
    return 0;
}
