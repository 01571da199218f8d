// Creation when memory runs out. This program's malloc, calloc and free take
// the C library's place for libcomm too: inside a window the n-th allocation
// fails and blocks are counted in and out; all goes on to the next allocator.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"
#include "log_lines.hpp"

namespace {

// Runs while the sanitizers start up: nothing here may be instrumented.
#define ALLOCATOR_CODE __attribute__((no_sanitize("address", "undefined", "thread")))
void *(*g_malloc)(size_t) = nullptr;
void *(*g_calloc)(size_t, size_t) = nullptr;
void (*g_free)(void *) = nullptr;
alignas(16) unsigned char g_boot[8192];  // for dlsym while it looks them up; never freed
size_t g_boot_used = 0;
bool g_resolving = false, g_armed = false;
int g_calls = 0, g_fail_at = 0, g_live = 0;  // in the window: allocations, the failing one, blocks not freed

ALLOCATOR_CODE void *boot_alloc(size_t n) {  // zeroed, 16-byte aligned
    n = (n + 15) & ~size_t{15};
    return g_boot_used + n > sizeof g_boot ? nullptr : memset(g_boot + (g_boot_used += n) - n, 0, n);
}

ALLOCATOR_CODE bool resolve() {
    if (g_free != nullptr || g_resolving) return g_free != nullptr;
    g_resolving = true;
    g_malloc = reinterpret_cast<void *(*)(size_t)>(dlsym(RTLD_NEXT, "malloc"));
    g_calloc = reinterpret_cast<void *(*)(size_t, size_t)>(dlsym(RTLD_NEXT, "calloc"));
    g_free = reinterpret_cast<void (*)(void *)>(dlsym(RTLD_NEXT, "free"));
    g_resolving = false;
    return true;
}

ALLOCATOR_CODE bool fail_now() { return g_armed && ++g_calls == g_fail_at; }
ALLOCATOR_CODE void *track(void *p) { g_live += g_armed && p != nullptr; return p; }

}  // namespace

extern "C" ALLOCATOR_CODE void *malloc(size_t n) {
    return !resolve() ? boot_alloc(n) : fail_now() ? nullptr : track(g_malloc(n));
}
extern "C" ALLOCATOR_CODE void *calloc(size_t count, size_t size) {
    return !resolve() ? boot_alloc(count * size) : fail_now() ? nullptr : track(g_calloc(count, size));
}
extern "C" ALLOCATOR_CODE void free(void *p) {
    if (p == nullptr || (p >= g_boot && p < g_boot + sizeof g_boot)) return;
    g_live -= g_armed;  // only the creation allocates and frees inside a window
    if (resolve()) g_free(p);
}

namespace {

// Runs fn with the fail_at-th allocation failing (0: none); gives the calls
// made and the blocks still live.
std::pair<int, int> window(int fail_at, const std::function<void()> &fn) {
    g_calls = 0, g_fail_at = fail_at, g_live = 0, g_armed = true;
    fn();
    g_armed = false;
    return {g_calls, g_live};
}

// Every allocation of a creation fails in turn: nothing is handed out,
// nothing is kept, and the ring says so.
TEST(OutOfMemory, CreationFailsWholeAtEveryAllocation) {
    Zev_Comm_SetPrintLev(5);
    testsupport::capture_stdout([] { ZEV_COMM_ERR("warm up\n"); });  // the first line may allocate
    using Lines = std::vector<std::string>;
    // what, creation, its allocations (the ring: record, data; the queue:
    // record, slot array, one per slot), the line of a failure
    const std::tuple<const char *, std::function<void *()>, int, Lines> cases[] = {
        {"ring", [] { return RingBuffer_create("ring", 64); }, 2, {"ERR RingBuffer_create :ring:malloc fail\n"}},
        {"queue 64x3", [] { return Zev_Queue_Create(64, 3); }, 5, {}},
        {"queue 1x1", [] { return Zev_Queue_Create(1, 1); }, 3, {}},
        {"queue 0x2", [] { return Zev_Queue_Create(0, 2); }, 4, {}},
        {"queue 16x0", [] { return Zev_Queue_Create(16, 0); }, 1, {}},
        {"queue 16x-5", [] { return Zev_Queue_Create(16, -5); }, 1, {}},
    };
    for (const auto &[what, create, allocations, lines] : cases) {
        const bool is_ring = std::string(what) == "ring";
        const auto [calls, live] = window(0, [&, &create = create] {
            void *made = create();
            is_ring ? RingBuffer_destroy(made) : Zev_Queue_Destroy(made);
        });
        ASSERT_EQ(calls, allocations) << what;
        EXPECT_EQ(live, 0) << what << ": destroy releases everything";
        for (int fail_at = 1; fail_at <= calls; ++fail_at) {
            void *made = &made;
            int left = -1;
            const std::string out = testsupport::capture_stdout(
                [&, &create = create] { left = window(fail_at, [&] { made = create(); }).second; });
            EXPECT_EQ(made, nullptr) << what << " " << fail_at;
            EXPECT_EQ(left, 0) << what << ": nothing kept after failing call " << fail_at;
            EXPECT_EQ(testsupport::summarise(out), lines) << what << " " << fail_at;
        }
    }
}

}  // namespace
