#include "sync_spy.hpp"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace containers_spy {
namespace {

bool g_recording = false;
Counts g_counts;
std::function<void(int)> g_hook;

template <typename Fn>
Fn next(const char *name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

}  // namespace

Recording::Recording(std::function<void(int)> hook) {
    g_counts = Counts{};
    g_hook = std::move(hook);
    g_recording = true;
}

Recording::~Recording() {
    g_recording = false;
    g_hook = nullptr;
}

const Counts &Recording::counts() const { return g_counts; }

}  // namespace containers_spy

using namespace containers_spy;

extern "C" {

int usleep(useconds_t us) {
    if (!g_recording) {
        static auto real = next<int (*)(useconds_t)>("usleep");
        return real(us);
    }
    g_counts.sleeps_us.push_back(static_cast<long>(us));
    // The hook may call into the ring; keep counting what it does apart.
    g_recording = false;
    if (g_hook) g_hook(static_cast<int>(g_counts.sleeps_us.size()));
    g_recording = true;
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t *m) {
    static auto real = next<int (*)(pthread_mutex_t *)>("pthread_mutex_lock");
    if (g_recording) ++g_counts.locks;
    return real(m);
}

int pthread_mutex_init(pthread_mutex_t *m, const pthread_mutexattr_t *a) {
    static auto real = next<int (*)(pthread_mutex_t *, const pthread_mutexattr_t *)>("pthread_mutex_init");
    if (g_recording) ++g_counts.mutex_inits;
    return real(m, a);
}

int pthread_cond_signal(pthread_cond_t *c) {
    static auto real = next<int (*)(pthread_cond_t *)>("pthread_cond_signal");
    if (g_recording) ++g_counts.signals;
    return real(c);
}

}  // extern "C"
