// SPDX-License-Identifier: MIT
// boardsim: runs a program on a simulated camera board.
//
// The board's sysfs, procfs and device nodes are a umockdev testbed; their
// persistent parts (flash images, GPIO state, settings) live in a state
// folder that survives runs.
#include <glib.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <umockdev.h>
#include <unistd.h>

#include <string>

#include "board.hpp"
#include "board_tree.hpp"

namespace {

const char kUsage[] =
    "usage: boardsim [--state DIR] [--reset] [--NAME=VALUE ...] [--] PROGRAM [ARGS...]\n"
    "       boardsim [--state DIR] [--reset] --init\n"
    "\n"
    "Runs PROGRAM on a simulated camera board: /sys, /proc and /dev are\n"
    "redirected into a test bed whose lasting parts live in the state folder.\n"
    "\n"
    "  --state DIR  the state folder (default $BOARDSIM_STATE, else\n"
    "               $XDG_STATE_HOME/boardsim or ~/.local/state/boardsim)\n"
    "  --reset      build the board afresh (erased flash, no exported pins)\n"
    "  --init       only create the state folder\n"
    "  --help       this text\n"
    "\n"
    "PROGRAM's exit status is boardsim's. The settings file is\n"
    "STATE/settings.conf unless ZEV_SETTINGS_FILE is set.\n"
    "\n"
    "Board options, for this run only:\n";

// Every --NAME=VALUE that the board's parts read; anything else is refused,
// so that a misspelt option cannot leave the board as it was unnoticed.
struct BoardOptionHelp {
    const char *name;
    const char *value;
    const char *what;
};
const BoardOptionHelp kBoardOptions[] = {
    {"temp-test", "1", "ft=TEMP on /proc/cmdline (the temperature test mode)"},
    {"cpu-temp", "DEGREES", "the SoC's temperature attribute"},
    {"sd", "present|disk|absent", "an SD card with a partition, a bare disk, or none"},
    {"pmu", "present|absent", "absent leaves the PMU node out"},
    {"pmu-fail", "1", "the PMU driver refuses every request"},
    {"pmu-dc-in", "N", "PMU reading (STATE/board/pmu.conf has the rest)"},
    {"pmu-acc-on", "N", "PMU reading"},
    {"pmu-voltage", "MV", "PMU reading"},
    {"pmu-charge-current", "MA", "PMU reading"},
    {"pmu-ntc", "N", "PMU reading"},
    {"pmu-power-key", "N", "PMU reading"},
    {"pmu-sd-in", "N", "PMU reading"},
    {"pmu-boot", "WORD", "PMU reading"},
    {"pmu-type", "N", "PMU reading"},
    {"uart-feed", "FILE", "bytes the serial port's far end sends"},
    {"uart-script", "CMD", "a command that plays the far end ($BOARDSIM_UART)"},
};

void print_usage() {
    fputs(kUsage, stdout);
    for (const BoardOptionHelp &o : kBoardOptions) {
        const std::string word = std::string("--") + o.name + "=" + o.value;
        printf("  %-34s %s\n", word.c_str(), o.what);
    }
}

// "--NAME=VALUE" with a NAME of the table.
bool known_board_option(const char *arg) {
    const char *eq = strchr(arg, '=');
    const std::string name(arg + 2, static_cast<size_t>(eq - arg - 2));
    for (const BoardOptionHelp &o : kBoardOptions) {
        if (name == o.name) return true;
    }
    return false;
}

std::string default_state() {
    if (const char *s = getenv("BOARDSIM_STATE"); s != nullptr && *s != '\0') return s;
    if (const char *x = getenv("XDG_STATE_HOME"); x != nullptr && *x != '\0')
        return std::string(x) + "/boardsim";
    if (const char *h = getenv("HOME"); h != nullptr && *h != '\0')
        return std::string(h) + "/.local/state/boardsim";
    return ".boardsim";
}

std::string absolute(const std::string &path) {
    char buf[PATH_MAX];
    if (realpath(path.c_str(), buf) != nullptr) return buf;
    return path;
}

std::string self_dir() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return ".";
    std::string p(buf, static_cast<size_t>(n));
    return p.substr(0, p.rfind('/'));
}

void append_env(const char *name, const std::string &value, const char *sep) {
    const char *old = getenv(name);
    std::string v = value;
    if (old != nullptr && *old != '\0') v += std::string(sep) + old;
    setenv(name, v.c_str(), 1);
}

bool prepare_state(comm::sim::Board &board, bool reset) {
    using namespace comm::sim;
    const std::string marker = board.state + "/.boardsim";
    if (reset) remove_tree(board.tree);
    const bool fresh = reset || !exists(marker);
    if (!make_dirs(board.tree)) {
        fprintf(stderr, "boardsim: cannot create state folder %s: %s\n", board.state.c_str(),
                strerror(errno));
        return false;
    }
    if (fresh) {
        for (const BoardPart *part : board_parts()) {
            if (!part->create(board)) {
                fprintf(stderr, "boardsim: cannot create the board's %s\n", part->name);
                return false;
            }
        }
        write_text(marker, "boardsim state folder\n");
    }
    return true;
}

struct Child {
    GMainLoop *loop;
    int status;
};

void on_child_exit(GPid, gint status, gpointer data) {
    auto *c = static_cast<Child *>(data);
    c->status = status;
    g_main_loop_quit(c->loop);
}

int run_program(char **argv) {
    const pid_t pid = fork();
    if (pid < 0) {
        fprintf(stderr, "boardsim: fork failed: %s\n", strerror(errno));
        return 127;
    }
    if (pid == 0) {
        execvp(argv[0], argv);
        fprintf(stderr, "boardsim: cannot run %s: %s\n", argv[0], strerror(errno));
        _exit(127);
    }
    Child child{g_main_loop_new(nullptr, FALSE), 0};
    g_child_watch_add(pid, on_child_exit, &child);
    g_main_loop_run(child.loop);
    g_main_loop_unref(child.loop);
    if (WIFEXITED(child.status)) return WEXITSTATUS(child.status);
    if (WIFSIGNALED(child.status)) return 128 + WTERMSIG(child.status);
    return 1;
}

}  // namespace

int main(int argc, char **argv) {
    comm::sim::Board board;
    board.state = default_state();
    bool reset = false;
    bool init_only = false;
    int i = 1;
    for (; i < argc; ++i) {
        const char *a = argv[i];
        if (strcmp(a, "--") == 0) {
            ++i;
            break;
        }
        if (strcmp(a, "--help") == 0 || strcmp(a, "-h") == 0) {
            print_usage();
            return 0;
        }
        if (strcmp(a, "--reset") == 0) {
            reset = true;
        } else if (strcmp(a, "--init") == 0) {
            init_only = true;
        } else if (strcmp(a, "--state") == 0 && i + 1 < argc) {
            board.state = argv[++i];
        } else if (strncmp(a, "--", 2) == 0 && strchr(a, '=') != nullptr) {
            if (!known_board_option(a)) {
                fprintf(stderr, "boardsim: unknown board option '%s' (boardsim --help lists them)\n", a);
                return 2;
            }
            board.options.push_back(a + 2);  // board options of the parts: --name=value
        } else if (a[0] == '-') {
            fprintf(stderr, "boardsim: unknown option '%s' (boardsim --help)\n", a);
            return 2;
        } else {
            break;
        }
    }
    if (!init_only && i >= argc) {
        fprintf(stderr, "boardsim: no program to run (boardsim --help)\n");
        return 2;
    }
    if (!comm::sim::make_dirs(board.state)) {
        fprintf(stderr, "boardsim: cannot create state folder %s: %s\n", board.state.c_str(),
                strerror(errno));
        return 1;
    }
    board.state = absolute(board.state);
    board.tree = board.state + "/board";
    if (!prepare_state(board, reset)) return 1;
    if (init_only) return 0;

    board.testbed = umockdev_testbed_new();
    gchar *root = umockdev_testbed_get_root_dir(board.testbed);
    board.root = root;
    g_free(root);
    int status = 1;
    bool ok = true;
    for (const comm::sim::BoardPart *part : comm::sim::board_parts()) {
        if (!part->attach(board)) {
            fprintf(stderr, "boardsim: cannot attach the board's %s\n", part->name);
            ok = false;
            break;
        }
    }
    if (ok) {
        setenv("BOARDSIM_ROOT", board.tree.c_str(), 1);
        setenv("BOARDSIM_STATE", board.state.c_str(), 1);
        if (const char *f = getenv("ZEV_SETTINGS_FILE"); f == nullptr || *f == '\0')
            setenv("ZEV_SETTINGS_FILE", (board.state + "/settings.conf").c_str(), 1);
        append_env("LD_PRELOAD", self_dir() + "/libboardsim_preload.so:libumockdev-preload.so.0", ":");
        append_env("ASAN_OPTIONS", "verify_asan_link_order=0", ":");
        status = run_program(argv + i);
    }
    // The links point into the state folder: take them away before the
    // testbed removes its root, so that nothing behind them is touched.
    for (const std::string &link : board.links) unlink(link.c_str());
    g_object_unref(board.testbed);
    return status;
}
