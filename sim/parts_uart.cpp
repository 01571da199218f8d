// SPDX-License-Identifier: MIT
// A serial line: a pty whose far end boardsim plays. The program opens the
// path in $BOARDSIM_UART (also linked as STATE/ttyS1). Once the program has
// set the line up (canonical mode off, which ZEV_UART_SetAttr does), the far
// end sends the bytes of --uart-feed=FILE, or what --uart-script=COMMAND
// prints, in small pieces.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "board.hpp"
#include "board_tree.hpp"

namespace comm::sim {
namespace {

constexpr size_t kPieceBytes = 16;
constexpr useconds_t kPieceGapUs = 5000;
constexpr useconds_t kSetupPollUs = 10000;

struct Line {
    int master = -1;
    std::string feed_file;
    std::string script;
};

// Canonical mode off: the program has configured the line, and a flush that
// would drop what was sent is behind it.
void wait_for_setup(int master) {
    for (;;) {
        struct termios t {};
        if (tcgetattr(master, &t) == 0 && (t.c_lflag & ICANON) == 0) return;
        usleep(kSetupPollUs);
    }
}

void send_in_pieces(int master, const char *data, size_t len) {
    for (size_t done = 0; done < len;) {
        const size_t n = len - done < kPieceBytes ? len - done : kPieceBytes;
        const ssize_t w = write(master, data + done, n);
        if (w <= 0) return;
        done += static_cast<size_t>(w);
        usleep(kPieceGapUs);
    }
}

void play_far_end(Line line) {
    wait_for_setup(line.master);
    usleep(kSetupPollUs);  // let the setup's last flush pass
    if (!line.feed_file.empty()) {
        const std::string bytes = read_text(line.feed_file);
        send_in_pieces(line.master, bytes.data(), bytes.size());
    } else if (!line.script.empty()) {
        FILE *out = popen(line.script.c_str(), "r");
        if (out == nullptr) return;
        char buf[256];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, out)) > 0) send_in_pieces(line.master, buf, n);
        pclose(out);
    }
}

bool uart_create(Board &) { return true; }

bool uart_attach(Board &board) {
    Line line;
    line.master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (line.master < 0 || grantpt(line.master) != 0 || unlockpt(line.master) != 0) {
        fprintf(stderr, "boardsim: cannot make the serial line: %s\n", strerror(errno));
        return false;
    }
    const char *slave = ptsname(line.master);
    if (slave == nullptr) return false;
    setenv("BOARDSIM_UART", slave, 1);
    const std::string link = board.state + "/ttyS1";
    unlink(link.c_str());
    if (symlink(slave, link.c_str()) == 0) board.links.push_back(link);
    line.feed_file = board_option(board, "uart-feed", "");
    line.script = board_option(board, "uart-script", "");
    if (!line.feed_file.empty() || !line.script.empty()) std::thread(play_far_end, line).detach();
    return true;
}

}  // namespace
BOARDSIM_PART(uart, uart_create, uart_attach);
}  // namespace comm::sim
