// SPDX-License-Identifier: MIT
// commctl: the developer's and field engineer's command line over libcomm.
#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "comm_log.h"
#include "comm_version.h"
#include "command.hpp"
#include "json.hpp"

namespace commctl {

static int vreport(int status, const char *fmt, va_list ap) {
    fflush(stdout);
    fputs("commctl: ", stderr);
    vfprintf(stderr, fmt, ap);
    fputc('\n', stderr);
    return status;
}

int usage_error(const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int s = vreport(kUsage, fmt, ap);
    va_end(ap);
    return s;
}

int failure(const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int s = vreport(kFailed, fmt, ap);
    va_end(ap);
    return s;
}

template <typename T>
static bool parse_whole(std::string_view text, T &out) {
    if (text.empty()) return false;
    int base = 10;
    bool neg = false;
    if (text.front() == '-') {
        neg = true;
        text.remove_prefix(1);
    }
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    // One sign at most, in front of the 0x: from_chars would take a second.
    if (text.empty() || !isxdigit(static_cast<unsigned char>(text.front()))) return false;
    int64_t v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v, base);
    if (ec != std::errc() || p != text.data() + text.size()) return false;
    if (neg) v = -v;
    if (v < static_cast<int64_t>(std::numeric_limits<T>::min()) ||
        v > static_cast<int64_t>(std::numeric_limits<T>::max()))
        return false;
    out = static_cast<T>(v);
    return true;
}

bool parse_i32(std::string_view text, int32_t &out) { return parse_whole(text, out); }
bool parse_u32(std::string_view text, uint32_t &out) { return parse_whole(text, out); }
bool parse_i64(std::string_view text, int64_t &out) { return parse_whole(text, out); }

bool wants_help(Args args) {
    for (const char *a : args) {
        if (strcmp(a, "--help") == 0 || strcmp(a, "-h") == 0) return true;
        if (a[0] != '-' || strcmp(a, "--") == 0) return false;  // operands from here on
    }
    return false;
}

bool read_file(const char *path, std::string_view &out, void *&owner) {
    owner = nullptr;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    if (fstat(fd, &st) != 0) {
        const int e = errno;
        close(fd);
        errno = e;
        return false;
    }
    size_t cap = st.st_size > 0 ? static_cast<size_t>(st.st_size) : 4096;
    char *buf = static_cast<char *>(malloc(cap + 1));
    size_t len = 0;
    for (;;) {
        if (len == cap) {
            cap *= 2;
            buf = static_cast<char *>(realloc(buf, cap + 1));
        }
        const ssize_t n = read(fd, buf + len, cap - len);
        if (n < 0) {
            const int e = errno;
            free(buf);
            close(fd);
            errno = e;
            return false;
        }
        if (n == 0) break;
        len += static_cast<size_t>(n);
    }
    close(fd);
    owner = buf;
    out = std::string_view(buf, len);
    return true;
}

void free_file(void *owner) { free(owner); }

}  // namespace commctl

namespace {

const char kMainUsage[] =
    "Usage: commctl [OPTIONS] COMMAND [ARGS...]\n"
    "   or: commctl COMMAND --help\n"
    "\n"
    "Runs one libcomm operation and prints what the library answered. On a PC\n"
    "run it inside the simulated board: boardsim -- commctl COMMAND ...\n"
    "Standard output carries the data alone unless a print level is given;\n"
    "errors are one line on standard error.\n"
    "\n"
    "Options (before the command; -- ends them):\n"
    "  --level N      show the library's log lines up to level N (0 none .. 7 all)\n"
    "  -v, --verbose  show log lines at the library's usual level 5; again for 6, 7\n"
    "  --json         print what a reading command found as one JSON object\n"
    "  -h, --help     show this help and exit\n"
    "  -V, --version  show the version and exit\n"
    "\n"
    "Exit status: 0 done, 1 the library reported a failure, 2 a wrong command line.\n"
    "\n"
    "Commands:\n";

void print_main_usage(FILE *out) {
    fputs(kMainUsage, out);
    for (const commctl::Command *c : comm::registry::by_name<commctl::Command>())
        fprintf(out, "  %-10s %s\n", c->name, c->summary);
}

// The library's level when logging is asked for with -v, as at load.
constexpr int32_t kUsualLevel = 5;
constexpr int32_t kMostLevel = 7;

}  // namespace

int main(int argc, char **argv) {
    enum { kLevel = 0x100, kJson };
    static const option kOptions[] = {
        {"help", no_argument, nullptr, 'h'},    {"version", no_argument, nullptr, 'V'},
        {"verbose", no_argument, nullptr, 'v'}, {"level", required_argument, nullptr, kLevel},
        {"json", no_argument, nullptr, kJson},  {nullptr, 0, nullptr, 0},
    };
    // Quiet unless asked: the library would print at level 5 from the start.
    int32_t level = 0;
    opterr = 0;
    int opt = 0;
    // '+': the first operand (the command) ends commctl's own options.
    while ((opt = getopt_long(argc, argv, "+:hVv", kOptions, nullptr)) != -1) {
        switch (opt) {
            case 'h':
                print_main_usage(stdout);
                return commctl::kOk;
            case 'V':
                printf("commctl (libcomm) %s\n", COMM_VERSION_STRING);
                return commctl::kOk;
            case 'v':
                level = level < kUsualLevel ? kUsualLevel : (level < kMostLevel ? level + 1 : level);
                break;
            case kLevel:
                if (!commctl::parse_i32(optarg, level))
                    return commctl::usage_error("--level wants a number, not '%s'", optarg);
                break;
            case kJson:
                commctl::set_json_wanted(true);
                break;
            case ':':
                return commctl::usage_error("%s wants a value", argv[optind - 1]);
            default:
                if (optopt != 0)
                    return commctl::usage_error("unknown option '-%c' (commctl --help lists them)", optopt);
                return commctl::usage_error("unknown option '%s' (commctl --help lists them)",
                                            argv[optind - 1]);
        }
    }
    Zev_Comm_SetPrintLev(level);
    if (optind >= argc) {
        print_main_usage(stderr);
        return commctl::kUsage;
    }
    const char *name = argv[optind];
    if (const commctl::Command *c = comm::registry::find<commctl::Command>(name)) {
        commctl::Args args(argv + optind + 1, static_cast<size_t>(argc - optind - 1));
        if (commctl::wants_help(args)) {
            fputs(c->usage, stdout);
            return commctl::kOk;
        }
        const int status = c->run(args);
        fflush(stdout);
        return status;
    }
    return commctl::usage_error("unknown command '%s' (commctl --help lists them)", name);
}
