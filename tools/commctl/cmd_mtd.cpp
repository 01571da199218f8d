// SPDX-License-Identifier: MIT
// mtd: read and write the named regions of the flash map.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "comm_mtdmgr.h"
#include "command.hpp"
#include "json.hpp"
#include "zev_settings.h"

namespace {

// A write lifts the flash protection for its duration, as the library's own
// writers do.
constexpr int kUnprotect = 4;
constexpr int kProtect = 0;

void hex_dump(const unsigned char *p, uint32_t n, uint32_t base) {
    for (uint32_t row = 0; row < n; row += 16) {
        printf("%08x ", base + row);
        for (uint32_t i = row; i < row + 16 && i < n; ++i) printf(" %02x", p[i]);
        putchar('\n');
    }
}

int run_read(commctl::Args args) {
    if (args.size() < 3 || args.size() > 4)
        return commctl::usage_error("mtd read wants KEY OFFSET LENGTH [FILE]");
    uint32_t offset = 0, len = 0;
    if (!commctl::parse_u32(args[1], offset)) return commctl::usage_error("'%s' is not an offset", args[1]);
    if (!commctl::parse_u32(args[2], len) || len > (64u << 20))
        return commctl::usage_error("'%s' is not a length up to 64 MiB", args[2]);
    unsigned char *buf = static_cast<unsigned char *>(calloc(len ? len : 1, 1));
    const int32_t r = Zev_MtdMgr_Read(args[0], offset, buf, len);
    if (r < 0) {
        free(buf);
        return commctl::failure("mtd read %s failed (%d)", args[0], r);
    }
    int status = commctl::kOk;
    if (args.size() == 4) {
        FILE *f = fopen(args[3], "wb");
        if (f == nullptr || fwrite(buf, 1, len, f) != len)
            status = commctl::failure("cannot write %s", args[3]);
        if (f != nullptr && fclose(f) != 0 && status == commctl::kOk)
            status = commctl::failure("cannot write %s", args[3]);
    } else if (!commctl::json_wanted()) {
        hex_dump(buf, len, offset);
    }
    if (status == commctl::kOk && commctl::json_wanted()) {
        commctl::JsonOut json;
        json.str("key", args[0]).num("offset", offset).num("length", len);
        if (args.size() == 4) {
            json.str("file", args[3]);
        } else {
            json.str("hex", commctl::hex_text(buf, len));
        }
        json.end();
    }
    free(buf);
    return status;
}

int run_write(commctl::Args args) {
    if (args.size() != 3) return commctl::usage_error("mtd write wants KEY OFFSET FILE");
    uint32_t offset = 0;
    if (!commctl::parse_u32(args[1], offset)) return commctl::usage_error("'%s' is not an offset", args[1]);
    std::string_view data;
    void *owner = nullptr;
    if (!commctl::read_file(args[2], data, owner))
        return commctl::failure("cannot read %s: %s", args[2], strerror(errno));
    Zev_Settings_UnProtect(kUnprotect);
    const int32_t r = Zev_MtdMgr_Write(args[0], offset, data.data(), static_cast<uint32_t>(data.size()), 1);
    Zev_Settings_UnProtect(kProtect);
    commctl::free_file(owner);
    if (r < 0) return commctl::failure("mtd write %s failed (%d)", args[0], r);
    printf("wrote %d bytes\n", r);
    return commctl::kOk;
}

int run_mtd(commctl::Args args) {
    if (args.empty()) return commctl::usage_error("mtd wants read or write (see commctl mtd --help)");
    if (strcmp(args[0], "read") == 0) return run_read(args.subspan(1));
    if (strcmp(args[0], "write") == 0) return run_write(args.subspan(1));
    return commctl::usage_error("unknown mtd operation '%s'", args[0]);
}

}  // namespace

COMMCTL_COMMAND(mtd, "mtd", "read and write regions of the flash map",
                "usage: commctl mtd read KEY OFFSET LENGTH [FILE]\n"
                "       commctl mtd write KEY OFFSET FILE\n"
                "\n"
                "KEY is a region of the flash map: MTD_PART_UI, MTD_PART_UI_BACKUP,\n"
                "MTD_PART_SETTINGS, MTD_PART_SETTINGS_BACKUP, MTD_PART_FACTORY,\n"
                "MTD_PART_SN, MTD_PART_SN_BACKUP. OFFSET counts from the region's start;\n"
                "a transfer may run on to the end of the region's partition. read prints\n"
                "a hex dump, or writes the bytes to FILE; write stores FILE whole, with\n"
                "the flash protection lifted for the write. Numbers take 0x for hex.\n",
                run_mtd);
