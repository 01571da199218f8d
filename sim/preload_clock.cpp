// SPDX-License-Identifier: MIT
// The board's wall clock: programs on the simulated board read and set a
// clock of their own, kept as an offset from the PC's clock in the board's
// tree (BOARDSIM_ROOT/clock/system, "SECONDS NANOSECONDS"). Setting it
// rewrites that file; the PC's clock is never set, whoever runs this, and
// without a board every attempt to set the clock is refused.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr long kNano = 1000000000L;

struct Offset {
    int64_t sec = 0;
    long nsec = 0;  // 0 .. kNano - 1
};

template <typename Fn>
Fn next(const char *name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

int real_clock_gettime(clockid_t id, struct timespec *ts) {
    static auto real = next<int (*)(clockid_t, struct timespec *)>("clock_gettime");
    return real(id, ts);
}

bool is_wall(clockid_t id) { return id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE; }

// BOARDSIM_ROOT/clock/system, or false when no board runs.
bool offset_path(char (&path)[4096]) {
    const char *root = getenv("BOARDSIM_ROOT");
    if (root == nullptr || *root == '\0') return false;
    const int n = snprintf(path, sizeof path, "%s/clock/system", root);
    return n > 0 && static_cast<size_t>(n) < sizeof path;
}

// Plain system calls only: these run inside time() and friends.
Offset read_offset() {
    Offset off;
    char path[4096];
    if (!offset_path(path)) return off;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return off;
    char text[64] = {};
    const ssize_t n = read(fd, text, sizeof text - 1);
    close(fd);
    if (n <= 0) return off;
    long long sec = 0;
    long nsec = 0;
    if (sscanf(text, "%lld %ld", &sec, &nsec) == 2 && nsec >= 0 && nsec < kNano) {
        off.sec = sec;
        off.nsec = nsec;
    }
    return off;
}

bool write_offset(const Offset &off) {
    char path[4096];
    if (!offset_path(path)) return false;
    char tmp[4200];
    snprintf(tmp, sizeof tmp, "%s.%d", path, static_cast<int>(getpid()));
    char text[64];
    const int len = snprintf(text, sizeof text, "%" PRId64 " %ld\n", off.sec, off.nsec);
    const int fd = open(tmp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    const bool ok = write(fd, text, static_cast<size_t>(len)) == len;
    close(fd);
    return ok && rename(tmp, path) == 0;
}

void add(struct timespec &ts, const Offset &off) {
    int64_t sec = static_cast<int64_t>(ts.tv_sec) + off.sec;
    long nsec = ts.tv_nsec + off.nsec;
    if (nsec >= kNano) {
        nsec -= kNano;
        ++sec;
    }
    ts.tv_sec = static_cast<time_t>(sec);
    ts.tv_nsec = nsec;
}

struct timespec board_now(clockid_t id) {
    struct timespec ts {};
    (void)real_clock_gettime(id, &ts);
    add(ts, read_offset());
    return ts;
}

// The board clock becomes `to`: the offset from the PC's clock is stored.
int set_board_clock(const struct timespec &to) {
    if (to.tv_nsec < 0 || to.tv_nsec >= kNano) {
        errno = EINVAL;
        return -1;
    }
    struct timespec pc {};
    (void)real_clock_gettime(CLOCK_REALTIME, &pc);
    Offset off;
    off.sec = static_cast<int64_t>(to.tv_sec) - static_cast<int64_t>(pc.tv_sec);
    off.nsec = to.tv_nsec - pc.tv_nsec;
    if (off.nsec < 0) {
        off.nsec += kNano;
        --off.sec;
    }
    if (!write_offset(off)) {
        errno = EPERM;  // no board, or its clock cannot be kept: never the PC's
        return -1;
    }
    return 0;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t id, struct timespec *ts) {
    if (!is_wall(id)) return real_clock_gettime(id, ts);
    *ts = board_now(id);
    return 0;
}

__attribute__((visibility("default"))) time_t time(time_t *out) {
    const time_t now = board_now(CLOCK_REALTIME).tv_sec;
    if (out != nullptr) *out = now;
    return now;
}

__attribute__((visibility("default"))) int gettimeofday(struct timeval *tv, void *tz) {
    if (tz != nullptr) {
        static auto real = next<int (*)(struct timeval *, void *)>("gettimeofday");
        struct timeval ignored {};
        (void)real(&ignored, tz);
    }
    const struct timespec ts = board_now(CLOCK_REALTIME);
    tv->tv_sec = ts.tv_sec;
    tv->tv_usec = static_cast<suseconds_t>(ts.tv_nsec / 1000);
    return 0;
}

__attribute__((visibility("default"))) int settimeofday(const struct timeval *tv, const struct timezone *) {
    if (tv == nullptr) return 0;  // the kernel's zone word is not kept
    if (tv->tv_usec < 0 || tv->tv_usec >= 1000000) {
        errno = EINVAL;
        return -1;
    }
    struct timespec to {};
    to.tv_sec = tv->tv_sec;
    to.tv_nsec = static_cast<long>(tv->tv_usec) * 1000;
    return set_board_clock(to);
}

__attribute__((visibility("default"))) int clock_settime(clockid_t id, const struct timespec *ts) {
    if (id != CLOCK_REALTIME) {
        errno = EINVAL;
        return -1;
    }
    return set_board_clock(*ts);
}

}  // extern "C"
