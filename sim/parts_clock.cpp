// SPDX-License-Identifier: MIT
// The board's clocks. The system clock is an offset from the PC's clock in
// tree/clock/system, applied by the preload library to every program on the
// board; the hardware clock is a second offset in tree/clock/hardware, which
// the board's `hwclock` (a script in tree/clock/bin, first on PATH) copies
// to and from the system clock. The board's system zone is UTC.
#include <linux/capability.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "board.hpp"
#include "board_tree.hpp"
#include "rtc_clock.h"

namespace comm::sim {
namespace {

// hwclock of the board: the two requests of the library's hand-over
// (rtc_clock.h), and --show (the default).
const char kHwclock[] = R"SH(#!/bin/sh
# The simulated board's hardware clock (boardsim): an offset from the PC's
# clock, as the system clock is. The PC's own clocks are never touched.
# The clock folder is the one above this script's bin folder: found from the
# script's own path, so that no path is ever pasted into this text.
dir=$(cd -- "$(dirname -- "$0")/.." && pwd) || exit 1
save() { cat "$dir/$1" > "$dir/$2.new.$$" && mv -f "$dir/$2.new.$$" "$dir/$2"; }
case "${1:---show}" in
  )SH" COMM_HWCLOCK_FROM_SYSTEM R"SH(|-w) save system hardware ;;
  )SH" COMM_HWCLOCK_TO_SYSTEM R"SH(|-s) save hardware system ;;
  --show|-r|--get)
    set -- $(cat "$dir/system") $(cat "$dir/hardware")
    now=$(date -u +%s)
    date -u -d "@$((now - $1 + $3))" '+%Y-%m-%d %H:%M:%S'
    ;;
  *) echo "hwclock: unknown option '$1' (the board knows --systohc, --hctosys, --show)" >&2; exit 1 ;;
esac
)SH";

// Gives up the right to set the PC's clock, for boardsim and everything it
// runs: the board's clock lives in the state folder, and a program that
// slips past the preload library (static, or calling the kernel directly)
// must still not reach the real one. False when boardsim runs as root and
// cannot drop it.
bool drop_clock_capability() {
    (void)prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_LOWER, CAP_SYS_TIME, 0, 0);
    (void)prctl(PR_CAPBSET_DROP, CAP_SYS_TIME, 0, 0, 0);
    __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct caps[2] = {};
    if (syscall(SYS_capget, &head, caps) == 0) {
        const unsigned bit = 1u << (CAP_SYS_TIME % 32);
        __user_cap_data_struct &word = caps[CAP_SYS_TIME / 32];
        word.effective &= ~bit;
        word.permitted &= ~bit;
        word.inheritable &= ~bit;
        (void)syscall(SYS_capset, &head, caps);
        (void)syscall(SYS_capget, &head, caps);
        if ((caps[CAP_SYS_TIME / 32].permitted & bit) != 0) return false;
    }
    // Root regains every capability in the bounding set at exec.
    return geteuid() != 0 || prctl(PR_CAPBSET_READ, CAP_SYS_TIME, 0, 0, 0) == 0;
}

std::string clock_dir(const Board &board) { return board.tree + "/clock"; }

bool clock_create(Board &board) {
    const std::string dir = clock_dir(board);
    return write_text(dir + "/system", "0 0\n") && write_text(dir + "/hardware", "0 0\n");
}

bool clock_attach(Board &board) {
    if (!drop_clock_capability()) {
        fprintf(stderr, "boardsim: cannot give up the right to set the PC's clock\n");
        return false;
    }
    const std::string dir = clock_dir(board);
    // PATH cannot name a folder with a colon: the PC's own hwclock would be
    // found instead of the board's.
    if (dir.find(':') != std::string::npos) {
        fprintf(stderr, "boardsim: the state folder's path may not contain ':'\n");
        return false;
    }
    // State folders from before the clock existed get one that runs with the PC's.
    if (!exists(dir + "/system") && !write_text(dir + "/system", "0 0\n")) return false;
    if (!exists(dir + "/hardware") && !write_text(dir + "/hardware", "0 0\n")) return false;
    const std::string hwclock = dir + "/bin/hwclock";
    if (!write_text(hwclock, kHwclock) || chmod(hwclock.c_str(), 0755) != 0) return false;
    std::string search = dir;
    search += "/bin";
    if (const char *path = getenv("PATH"); path != nullptr && *path != '\0') {
        search += ':';
        search += path;
    }
    setenv("PATH", search.c_str(), 1);
    setenv("TZ", "UTC0", 1);
    return true;
}

}  // namespace
BOARDSIM_PART(clock, clock_create, clock_attach);
}  // namespace comm::sim
