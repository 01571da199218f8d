// SPDX-License-Identifier: MIT
// The board's NOR flash: its partitions listed in /proc/mtd and one image
// per partition behind /dev/mtdblockN, kept in the state folder and erased
// (0xFF) when first made. The kernel's mtdblock driver erases on write; a
// plain file behind the node behaves the same to its users.
#include <umockdev.h>

#include <cstdio>
#include <string>

#include "board.hpp"
#include "board_tree.hpp"
#include "flash_layout.h"

namespace comm::sim {
namespace {

using FlashPartition = comm_flash_partition;

// In mtd order: a partition's index is its place in the table.
constexpr FlashPartition kPartitions[] = {COMM_FLASH_LAYOUT_ROWS};
static_assert(sizeof kPartitions / sizeof kPartitions[0] == COMM_FLASH_PARTITION_COUNT);

size_t index_of(const FlashPartition &p) { return static_cast<size_t>(&p - kPartitions); }

std::string mtd_list() {
    std::string text = "dev:    size   erasesize  name\n";
    for (const FlashPartition &p : kPartitions) {
        char line[96];
        snprintf(line, sizeof line, "mtd%zu: %08x %08x \"%s\"\n", index_of(p), p.size, p.erase_size, p.name);
        text += line;
    }
    return text;
}

std::string device_rel(const FlashPartition &p) { return "dev/mtdblock" + std::to_string(index_of(p)); }

// Makes the partition's image, erased, unless the state folder has it.
bool ensure_image(const Board &board, const FlashPartition &p) {
    const std::string path = board.tree + "/" + device_rel(p);
    if (exists(path)) return true;
    return write_text(path, std::string(p.size, '\xff'));
}

bool flash_create(Board &board) {
    for (const FlashPartition &p : kPartitions) {
        if (!ensure_image(board, p)) return false;
    }
    return write_text(board.tree + "/proc/mtd", mtd_list());
}

bool flash_attach(Board &board) {
    // A state folder made before the flash existed gets it on first use.
    if (!flash_create(board)) return false;
    if (!link_into_root(board, "proc/mtd")) return false;
    for (const FlashPartition &p : kPartitions) {
        const std::string rel = device_rel(p);
        if (!link_into_root(board, rel)) return false;
        // umockdev reaches every node under /dev through an ioctl socket; a
        // handler that handles nothing lets reads, writes and seeks through
        // to the image. It lives as long as boardsim.
        auto *handler =
            static_cast<UMockdevIoctlBase *>(g_object_new(umockdev_ioctl_base_get_type(), nullptr));
        GError *error = nullptr;
        if (!umockdev_testbed_attach_ioctl(board.testbed, ("/" + rel).c_str(), handler, &error)) {
            fprintf(stderr, "boardsim: cannot attach /%s: %s\n", rel.c_str(), error ? error->message : "?");
            g_clear_error(&error);
            return false;
        }
    }
    return true;
}

}  // namespace
BOARDSIM_PART(flash, flash_create, flash_attach);
}  // namespace comm::sim
