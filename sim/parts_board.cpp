// SPDX-License-Identifier: MIT
// Small board files: the kernel command line, the CPU temperature and
// touch attributes, and an SD card in /proc/partitions with its nodes.
// Options for one run: --temp-test=1 adds "ft=TEMP" to the command line,
// --cpu-temp=N sets the CPU reading, --sd=absent|disk takes the card out
// or leaves only its whole disk in the table.
#include <string>

#include "board.hpp"
#include "board_devnode.hpp"
#include "board_sysfs.h"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

constexpr const char *kCmdLine = in_board(COMM_KERNEL_CMDLINE);
constexpr const char *kCpuTemp = in_board(COMM_CPU_TEMP_ATTR);
constexpr const char *kTouch = in_board(COMM_TOUCH_IRQ_ATTR);
constexpr const char *kPartitions = "proc/partitions";

const char kDefaultCmdLine[] = "console=ttyS0,115200 root=/dev/mtdblock3 rootfstype=squashfs init=/linuxrc\n";
const char kTableHead[] = "major minor  #blocks  name\n\n";
const char kDiskLine[] = " 179        0   15523840 mmcblk0\n";
const char kPartitionLine[] = " 179        1   15519744 mmcblk0p1\n";

// The CPU attribute's text: 12 bytes of the kernel's words, then degrees.
std::string cpu_temp_text(const std::string &degrees) { return "Temperature " + degrees + "\n"; }

bool board_create(Board &board) {
    return write_text(board.tree + "/" + kCmdLine, kDefaultCmdLine) &&
           write_text(board.tree + "/" + kCpuTemp, cpu_temp_text("52")) &&
           write_text(board.tree + "/" + kTouch, "1\n") &&
           write_text(board.tree + "/" + kPartitions, std::string(kTableHead) + kDiskLine + kPartitionLine);
}

// The persistent file, or a copy for this run only when `run_text` is set.
bool place(Board &board, const char *rel, const std::string &run_text) {
    if (run_text.empty()) return link_into_root(board, rel);
    return write_text(board.root + "/" + rel, run_text);
}

bool board_attach(Board &board) {
    if (!exists(board.tree + "/" + kCmdLine) && !board_create(board)) return false;
    std::string cmdline;
    if (board_option(board, "temp-test", "0") != "0") {
        cmdline = read_text(board.tree + "/" + kCmdLine);
        if (!cmdline.empty() && cmdline.back() == '\n') cmdline.pop_back();
        cmdline += " ft=TEMP\n";
    }
    const std::string degrees = board_option(board, "cpu-temp", "");
    const std::string sd = board_option(board, "sd", "present");
    std::string table;
    if (sd == "absent") table = kTableHead;
    if (sd == "disk") table = std::string(kTableHead) + kDiskLine;
    if (!place(board, kCmdLine, cmdline) ||
        !place(board, kCpuTemp, degrees.empty() ? "" : cpu_temp_text(degrees)) || !place(board, kTouch, "") ||
        !place(board, kPartitions, table))
        return false;
    if (sd == "absent") return true;
    if (!add_device_node(board, "block", "/dev/mmcblk0", "179:0")) return false;
    return sd == "disk" || add_device_node(board, "block", "/dev/mmcblk0p1", "179:1");
}

}  // namespace
BOARDSIM_PART(board, board_create, board_attach);
}  // namespace comm::sim
