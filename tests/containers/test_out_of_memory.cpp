// Creation when memory runs out: this program defines malloc, calloc and
// free, which take their place for libcomm too. While a FailingAllocation is
// alive, the n-th malloc or calloc call returns null and every block handed
// out meanwhile is tracked until freed; everything else passes through to
// the next allocator (the C library's, or a sanitizer's).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"
#include "log_lines.hpp"

using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

// The allocator runs before the sanitizers are up (they allocate while
// starting): none of its code may be instrumented.
#define ALLOCATOR_CODE __attribute__((no_sanitize("address", "undefined", "thread")))

using MallocFn = void *(*)(size_t);
using CallocFn = void *(*)(size_t, size_t);
using FreeFn = void (*)(void *);

MallocFn g_next_malloc = nullptr;
CallocFn g_next_calloc = nullptr;
FreeFn g_next_free = nullptr;

// dlsym may allocate while the next allocator is being looked up: such
// early blocks come from here and are never freed.
alignas(16) unsigned char g_boot[8192];
size_t g_boot_used = 0;
bool g_resolving = false;

ALLOCATOR_CODE bool from_boot(const void *p) {
    const auto *b = static_cast<const unsigned char *>(p);
    return b >= g_boot && b < g_boot + sizeof g_boot;
}

ALLOCATOR_CODE void *boot_alloc(size_t n) {
    const size_t rounded = (n + 15) & ~size_t{15};
    if (g_boot_used + rounded > sizeof g_boot) return nullptr;
    void *p = g_boot + g_boot_used;
    g_boot_used += rounded;
    return p;
}

ALLOCATOR_CODE bool resolve() {
    if (g_next_free != nullptr) return true;
    if (g_resolving) return false;
    g_resolving = true;
    g_next_malloc = reinterpret_cast<MallocFn>(dlsym(RTLD_NEXT, "malloc"));
    g_next_calloc = reinterpret_cast<CallocFn>(dlsym(RTLD_NEXT, "calloc"));
    g_next_free = reinterpret_cast<FreeFn>(dlsym(RTLD_NEXT, "free"));
    g_resolving = false;
    return true;
}

// The failing allocator's state: armed only inside a test's window.
bool g_armed = false;
int g_calls = 0;
int g_fail_at = 0;
std::array<void *, 256> g_live{};
int g_live_count = 0;
bool g_overflow = false;

ALLOCATOR_CODE void *track(void *p) {
    if (!g_armed || p == nullptr) return p;
    for (void *&slot : g_live) {
        if (slot == nullptr) {
            slot = p;
            ++g_live_count;
            return p;
        }
    }
    g_overflow = true;  // reported by the test, not from inside malloc
    return p;
}

ALLOCATOR_CODE void untrack(void *p) {
    if (p == nullptr) return;
    for (void *&slot : g_live) {
        if (slot == p) {
            slot = nullptr;
            --g_live_count;
            return;
        }
    }
}

// True when this call is the one to fail.
ALLOCATOR_CODE bool fail_now() { return g_armed && ++g_calls == g_fail_at; }

// Arms the allocator for one window: the fail_at-th call from now fails (0:
// none does). blocks_left() counts blocks allocated in the window and not
// freed yet, whenever they are freed.
class FailingAllocation {
public:
    explicit FailingAllocation(int fail_at) {
        g_calls = 0;
        g_fail_at = fail_at;
        g_live.fill(nullptr);
        g_live_count = 0;
        g_overflow = false;
        g_armed = true;
    }
    ~FailingAllocation() { g_armed = false; }
    void disarm() { g_armed = false; }
    int calls() const { return g_calls; }
    int blocks_left() const { return g_overflow ? -1 : g_live_count; }
};

}  // namespace

extern "C" {

ALLOCATOR_CODE void *malloc(size_t n) {
    if (!resolve()) return boot_alloc(n);
    if (fail_now()) return nullptr;
    return track(g_next_malloc(n));
}

ALLOCATOR_CODE void *calloc(size_t count, size_t size) {
    if (!resolve()) {
        void *p = boot_alloc(count * size);
        if (p != nullptr) memset(p, 0, count * size);
        return p;
    }
    if (fail_now()) return nullptr;
    return track(g_next_calloc(count, size));
}

ALLOCATOR_CODE void free(void *p) {
    if (p == nullptr || from_boot(p)) return;
    untrack(p);
    if (resolve()) g_next_free(p);
}

}  // extern "C"

namespace {

using Lines = std::vector<std::string>;

// Number of allocations a creation makes when nothing fails.
int allocations_of(void (*create_and_destroy)()) {
    FailingAllocation window(0);
    create_and_destroy();
    window.disarm();
    return window.calls();
}

// The first log line of a process may allocate for the time text; have it
// out of the way before any window counts.
void warm_up_log() {
    Zev_Comm_SetPrintLev(5);
    capture_stdout([] { ZEV_COMM_ERR("warm up\n"); });
}

TEST(OutOfMemory, RingCreationReleasesWhatItHasAndSaysSo) {
    warm_up_log();
    const int total = allocations_of([] { RingBuffer_destroy(RingBuffer_create("ring", 64)); });
    ASSERT_EQ(total, 2) << "the record and the data area";
    for (int fail_at = 1; fail_at <= total; ++fail_at) {
        void *ring = reinterpret_cast<void *>(1);
        int blocks_left = -1;
        const Lines lines = summarise(capture_stdout([&] {
            FailingAllocation window(fail_at);
            ring = RingBuffer_create("ring", 64);
            window.disarm();
            blocks_left = window.blocks_left();
        }));
        EXPECT_EQ(ring, nullptr) << fail_at;
        EXPECT_EQ(blocks_left, 0) << "nothing kept after failing call " << fail_at;
        EXPECT_EQ(lines, Lines{"ERR RingBuffer_create :ring:malloc fail\n"}) << fail_at;
    }
}

TEST(OutOfMemory, QueueCreationNeverHandsOutAMissingSlot) {
    warm_up_log();
    const struct {
        uint32_t elem_size;
        int capacity;
        int allocations;  // record, slot array, one block per slot
    } cases[] = {
        {64, 3, 5},
        {1, 1, 3},
        {0, 2, 4},
        {16, 0, 1},
        {16, -5, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE("capacity " + std::to_string(c.capacity));
        int total = 0;
        {
            FailingAllocation window(0);
            Zev_Queue_Destroy(Zev_Queue_Create(c.elem_size, c.capacity));
            window.disarm();
            total = window.calls();
            EXPECT_EQ(window.blocks_left(), 0) << "destroy releases everything";
        }
        ASSERT_EQ(total, c.allocations);
        for (int fail_at = 1; fail_at <= total; ++fail_at) {
            void *q = reinterpret_cast<void *>(1);
            int blocks_left = -1;
            const Lines lines = summarise(capture_stdout([&] {
                FailingAllocation window(fail_at);
                q = Zev_Queue_Create(c.elem_size, c.capacity);
                window.disarm();
                blocks_left = window.blocks_left();
            }));
            EXPECT_EQ(q, nullptr) << fail_at;
            EXPECT_EQ(blocks_left, 0) << "nothing kept after failing call " << fail_at;
            EXPECT_TRUE(lines.empty()) << fail_at;
        }
    }
}

TEST(OutOfMemory, AQueueBuiltAfterAFailureWorks) {
    {
        FailingAllocation window(3);
        ASSERT_EQ(Zev_Queue_Create(8, 4), nullptr);
    }
    void *q = Zev_Queue_Create(8, 4);
    ASSERT_NE(q, nullptr);
    for (uint64_t v = 0; v < 4; ++v) ASSERT_EQ(Zev_Queue_Push(q, &v), 0);
    uint64_t v = 99;
    ASSERT_EQ(Zev_Queue_Pop(q, &v), 0);
    EXPECT_EQ(v, 0u);
    Zev_Queue_Destroy(q);
}

}  // namespace
