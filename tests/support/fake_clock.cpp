// SPDX-License-Identifier: MIT
#include "fake_clock.hpp"

#include <dlfcn.h>

#include <atomic>
#include <cerrno>

namespace testsupport::fake_clock {
namespace {
std::atomic<bool> g_on{false};
int64_t g_mono_sec = 0, g_wall_sec = 0;
long g_mono_nsec = 0, g_wall_usec = 0;
int g_set_calls = 0;
struct timeval g_last_set {};

template <typename Fn>
Fn next(const char *name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}
}  // namespace

void enable() { g_on = true; }
void disable() { g_on = false; }
void set_monotonic(int64_t sec, long nsec) { g_mono_sec = sec, g_mono_nsec = nsec; }
void set_wall(int64_t sec, long usec) { g_wall_sec = sec, g_wall_usec = usec; }
int64_t wall_seconds() { return g_wall_sec; }
int settimeofday_calls() { return g_set_calls; }
struct timeval last_settimeofday() {
    return g_last_set;
}

}  // namespace testsupport::fake_clock

using namespace testsupport::fake_clock;

extern "C" {

int clock_gettime(clockid_t id, struct timespec *ts) {
    if (!g_on) {
        static auto real = next<int (*)(clockid_t, struct timespec *)>("clock_gettime");
        return real(id, ts);
    }
    const bool mono = id == CLOCK_MONOTONIC || id == CLOCK_MONOTONIC_RAW || id == CLOCK_BOOTTIME;
    ts->tv_sec = static_cast<time_t>(mono ? g_mono_sec : g_wall_sec);
    ts->tv_nsec = mono ? g_mono_nsec : g_wall_usec * 1000;
    return 0;
}

time_t time(time_t *out) {
    static auto real = next<time_t (*)(time_t *)>("time");
    const time_t now = g_on ? static_cast<time_t>(g_wall_sec) : real(nullptr);
    if (out != nullptr) *out = now;
    return now;
}

int gettimeofday(struct timeval *tv, void *tz) {
    if (!g_on) {
        static auto real = next<int (*)(struct timeval *, void *)>("gettimeofday");
        return real(tv, tz);
    }
    tv->tv_sec = static_cast<time_t>(g_wall_sec), tv->tv_usec = g_wall_usec;
    return 0;
}

int settimeofday(const struct timeval *tv, const struct timezone *) {
    ++g_set_calls;
    if (tv != nullptr) g_last_set = *tv;
    if (!g_on) {
        errno = EPERM;  // never the machine's clock
        return -1;
    }
    if (tv != nullptr) set_wall(tv->tv_sec, tv->tv_usec);
    return 0;
}

}  // extern "C"
