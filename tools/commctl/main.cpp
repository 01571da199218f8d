// commctl: the developer's and field engineer's command line over libcomm.
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdlib>
#include <limits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "command.hpp"
#include "comm_log.h"

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
    if (text.empty()) return false;
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
    "usage: commctl [--level N] COMMAND [ARGS...]\n"
    "       commctl COMMAND --help\n"
    "\n"
    "Runs one libcomm operation and prints what the library answered. On a PC\n"
    "run it inside the simulated board: boardsim -- commctl COMMAND ...\n"
    "\n"
    "  --level N   set the library's print level first (0 silent .. 7 all)\n"
    "\n"
    "commands:\n";

void print_main_usage(FILE *out) {
    fputs(kMainUsage, out);
    for (const commctl::Command *c : comm::registry::by_name<commctl::Command>())
        fprintf(out, "  %-10s %s\n", c->name, c->summary);
}

}  // namespace

int main(int argc, char **argv) {
    int i = 1;
    if (i < argc && (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)) {
        print_main_usage(stdout);
        return commctl::kOk;
    }
    if (i + 1 < argc && strcmp(argv[i], "--level") == 0) {
        int32_t level = 0;
        if (!commctl::parse_i32(argv[i + 1], level))
            return commctl::usage_error("--level wants a number, not '%s'", argv[i + 1]);
        Zev_Comm_SetPrintLev(level);
        i += 2;
    }
    if (i >= argc) {
        print_main_usage(stderr);
        return commctl::kUsage;
    }
    const char *name = argv[i];
    if (const commctl::Command *c = comm::registry::find<commctl::Command>(name)) {
        commctl::Args args(argv + i + 1, static_cast<size_t>(argc - i - 1));
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
