// SPDX-License-Identifier: MIT
// The byte ring and the bounded queue at their edges: locks, signals, lines,
// retry budgets, null handles, and creation when memory runs out.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"
#include "log_lines.hpp"

namespace {

using Bytes = std::vector<uint8_t>;
using namespace testsupport;

// While a Spy lives, the calls below are counted and usleep runs the hook
// instead of sleeping (the test playing the peer that frees room or brings data).
struct Spy {
    explicit Spy(std::function<void(int)> fn = {}) : hook(std::move(fn)) { g_spy = this; }
    static inline Spy *g_spy = nullptr;
    ~Spy() { g_spy = nullptr; }
    int locks = 0, inits = 0, signals = 0;
    std::vector<long> sleeps;
    std::function<void(int)> hook;
};
#define REAL(fn) static const auto real = reinterpret_cast<decltype(&fn)>(dlsym(RTLD_NEXT, #fn))
#define COUNTED(fn, field, params, args)                \
    extern "C" int fn params {                          \
        REAL(fn);                                       \
        if (Spy::g_spy != nullptr) ++Spy::g_spy->field; \
        return real args;                               \
    }

// For creation when memory runs out, the allocator below: inside a window the
// n-th allocation fails and blocks are counted in and out; all goes on to the
// next allocator. It runs while the sanitizers start: nothing is instrumented.
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
ALLOCATOR_CODE void *track(void *p) {
    g_live += g_armed && p != nullptr;
    return p;
}

}  // namespace

// These take the C library's place for libcomm too.
COUNTED(pthread_mutex_lock, locks, (pthread_mutex_t * m), (m))
COUNTED(pthread_mutex_init, inits, (pthread_mutex_t * m, const pthread_mutexattr_t *a), (m, a))
COUNTED(pthread_cond_signal, signals, (pthread_cond_t * c), (c))
extern "C" int usleep(useconds_t us) {
    REAL(usleep);
    Spy *spy = Spy::g_spy;
    if (spy == nullptr) return real(us);
    spy->sleeps.push_back(static_cast<long>(us));
    Spy::g_spy = nullptr;  // what the hook does is not counted
    if (spy->hook) spy->hook(static_cast<int>(spy->sleeps.size()));
    Spy::g_spy = spy;
    return 0;
}
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

std::string full_line(const std::string &name) { return "DDD RingBuffer_In :" + name + ":full\n"; }
std::string empty_line(const std::string &name) { return "VVV RingBuffer_Out :" + name + ":empty\n"; }
const std::string kFull = "ERR Zev_Queue_Push :queue is full!\n",
                  kEmpty = "ERR Zev_Queue_Pop :queue is empity!\n";

Bytes pattern(int n, int seed) {
    Bytes b(static_cast<size_t>(std::max(n, 0)));
    for (size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(seed + 31 * i + 7);
    return b;
}

class Containers : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(7); }
    void TearDown() override { RingBuffer_destroy(ring_), drop_queue(), Zev_Comm_SetPrintLev(5); }
    void ring(int capacity, const char *name = "rb") {
        RingBuffer_destroy(ring_), ring_ = RingBuffer_create(name, capacity);
    }
    void queue(uint32_t elem_size, int capacity) { drop_queue(), q_ = Zev_Queue_Create(elem_size, capacity); }
    void drop_queue() { q_ != nullptr ? Zev_Queue_Destroy(q_) : void(); }
    void fill(const Bytes &bytes) {
        for (uint8_t b : bytes) RingBuffer_In(ring_, b);
    }
    void *ring_ = nullptr;
    void *q_ = nullptr;
};

// Capacity minus one usable bytes at every index position, fill level and
// length: StrIn stores what fits, StrOut gives it in order, each logging
// once if it stops short; bytes past the count stay untouched.
TEST_F(Containers, RingAtEveryPositionFillAndLength) {
    for (int cap = 1; cap <= 9; ++cap) {
        ring(cap);
        std::string got, want;
        Lines lines;
        const std::string output = capture_stdout([&] {  // no assertions in here
            for (int at = 0; at < cap; ++at)
                for (int pre = 0; pre < cap; ++pre)
                    for (int len = 0; len <= cap; ++len) {
                        RingBuffer_Clean(ring_);
                        Bytes expect = pattern(pre, 100), out(static_cast<size_t>(cap + 1), 0xCC);
                        for (int i = 0; i < at; ++i)
                            RingBuffer_In(ring_, 0xCC), RingBuffer_Out(ring_, out.data());
                        fill(expect);
                        const Bytes in = pattern(len, len);
                        const int stored = std::min(len, cap - 1 - pre), n = pre + stored;
                        const int r_in = RingBuffer_StrIn(ring_, in.data(), len);
                        const int full = RingBuffer_isFull(ring_), size = RingBuffer_GetDataSize(ring_);
                        const int r_out = RingBuffer_StrOut(ring_, out.data(), n + 1);
                        lines.insert(lines.end(), stored < len ? 1 : 0, full_line("rb"));
                        lines.push_back(empty_line("rb"));
                        expect.insert(expect.end(), in.begin(), in.begin() + stored);
                        expect.resize(out.size(), 0xCC);
                        const std::string key =
                            "\n" + std::to_string(at) + "/" + std::to_string(pre) + "/" + std::to_string(len);
                        for (int v : {r_in, full, size, r_out, RingBuffer_isEmpty(ring_)})
                            got += " " + std::to_string(v);
                        for (int v : {stored, n == cap - 1 ? 1 : 0, n, n, 1}) want += " " + std::to_string(v);
                        got += key + std::string(out.begin(), out.end());
                        want += key + std::string(expect.begin(), expect.end());
                    }
        });
        ASSERT_EQ(got, want) << "capacity " << cap << ": results, then at/pre/len and the bytes";
        ASSERT_EQ(summarise(output), lines) << "capacity " << cap;
    }
}

// One lock per string or queue change and none for nothing to move; only
// the storing strings and the ring's destroy signal; the queue's mutex is
// zero-filled, never initialised; a null queue is reported by every call.
TEST_F(Containers, ResultLocksSignalsAndLinesPerCall) {
    uint8_t b[8] = {};
    const std::string full = full_line("rb"), empty = empty_line("rb"), null_queue = " :queueHdl is NULL!\n";
    // what, ring bytes before (of 8), call, result, locks, signals, log lines,
    // ring bytes after; the queue holds one element of 4 bytes
    // clang-format off
    const std::tuple<const char *, int, std::function<int()>, int, int, int, std::string, int> cases[] = {
        {"StrIn null, 0", 3, [&] { return RingBuffer_StrIn(ring_, nullptr, 4) + RingBuffer_StrIn(ring_, b, 0); }, 0, 0, 0, "", 3},
        {"StrOut null, 0", 3, [&] { return RingBuffer_StrOut(ring_, nullptr, 4) + RingBuffer_StrOut(ring_, b, 0); }, 0, 0, 0, "", 3},
        {"StrInWait null, 0", 3, [&] { return RingBuffer_StrInWait(ring_, nullptr, 4, 3) + RingBuffer_StrInWait(ring_, b, 0, 3); }, 0, 0, 0, "", 3},
        {"StrOutWait null, 0", 3, [&] { return RingBuffer_StrOutWait(ring_, nullptr, 4, 3) + RingBuffer_StrOutWait(ring_, b, 0, 3); }, 0, 0, 0, "", 3},
        // A negative length is locked, moves nothing and comes back.
        {"StrIn -1", 3, [&] { return RingBuffer_StrIn(ring_, b, -1); }, -1, 1, 1, "", 3},
        {"StrOut -5", 3, [&] { return RingBuffer_StrOut(ring_, b, -5); }, -5, 1, 0, "", 3},
        {"StrInWait min", 3, [&] { return RingBuffer_StrInWait(ring_, b, INT32_MIN, 3); }, INT32_MIN, 1, 1, "", 3},
        {"StrOutWait -2", 3, [&] { return RingBuffer_StrOutWait(ring_, b, -2, 3); }, -2, 1, 0, "", 3},
        {"StrIn", 0, [&] { return RingBuffer_StrIn(ring_, b, 3); }, 3, 1, 1, "", 3},
        {"StrIn full", 7, [&] { return RingBuffer_StrIn(ring_, b, 3); }, 0, 1, 1, full, 7},
        {"StrOut", 5, [&] { return RingBuffer_StrOut(ring_, b, 3); }, 3, 1, 0, "", 2},
        {"StrOut empty", 0, [&] { return RingBuffer_StrOut(ring_, b, 3); }, 0, 1, 0, empty, 0},
        {"StrInWait", 0, [&] { return RingBuffer_StrInWait(ring_, b, 3, 2); }, 3, 1, 1, "", 3},
        {"StrInWait full", 7, [&] { return RingBuffer_StrInWait(ring_, b, 3, 2); }, 0, 1, 1, full + full, 7},
        {"StrOutWait", 5, [&] { return RingBuffer_StrOutWait(ring_, b, 3, 2); }, 3, 1, 0, "", 2},
        {"StrOutWait empty", 0, [&] { return RingBuffer_StrOutWait(ring_, b, 3, 2); }, 0, 1, 0, empty + empty, 0},
        {"Clean, isEmpty", 5, [&] { return RingBuffer_Clean(ring_) * 10 + RingBuffer_isEmpty(ring_); }, 11, 1, 0, "", 0},
        {"In, isFull", 6, [&] { return RingBuffer_In(ring_, 1) * 10 + RingBuffer_isFull(ring_); }, 11, 0, 0, "", 7},
        {"In full", 7, [&] { return RingBuffer_In(ring_, 1); }, 0, 0, 0, full, 7},
        {"Out", 5, [&] { return b[0] = 7, RingBuffer_Out(ring_, b) * 100 + b[0]; }, 117, 0, 0, "", 4},  // the first byte
        {"Out empty", 0, [&] { return b[0] = 7, RingBuffer_Out(ring_, b) * 100 + b[0]; }, 7, 0, 0, empty, 0},  // left alone
        {"ring destroy", 0, [&] { return RingBuffer_destroy(ring_), ring_ = nullptr, 0; }, 0, 0, 1, "", 0},
        {"queue push", 0, [&] { return Zev_Queue_Push(q_, b) * 10 + Zev_Queue_GetLen(q_); }, 1, 1, 0, "", 0},
        {"queue push to full", 0, [&] { return Zev_Queue_Push(q_, b) + Zev_Queue_Push(q_, b); }, -2, 2, 0, kFull, 0},
        {"queue pop", 0, [&] { return Zev_Queue_Push(q_, b) + Zev_Queue_Pop(q_, b); }, 0, 2, 0, "", 0},
        // Without an element a push takes its slot as it is and a pop drops one.
        {"queue null elements", 0, [&] {
             uint32_t v = 0x11223344, w = 0;
             Zev_Queue_Push(q_, &v), Zev_Queue_Pop(q_, &w), Zev_Queue_Push(q_, nullptr), Zev_Queue_Pop(q_, &w);
             return Zev_Queue_Push(q_, nullptr) + Zev_Queue_Pop(q_, nullptr) + Zev_Queue_GetLen(q_) + (w == v);
         }, 1, 6, 0, "", 0},
        {"queue clear", 0, [&] { return Zev_Queue_Push(q_, b), Zev_Queue_Clear(q_), Zev_Queue_GetLen(q_); }, 0, 2, 0, "", 0},
        {"queue pop empty", 0, [&] { return Zev_Queue_Pop(q_, b); }, -2, 1, 0, kEmpty, 0},
        {"queue destroy", 0, [&] { return Zev_Queue_Destroy(q_), q_ = nullptr, 0; }, 0, 1, 0, "", 0},
        {"null len", 0, [] { return Zev_Queue_GetLen(nullptr); }, -1, 0, 0, "ERR Zev_Queue_GetLen" + null_queue, 0},
        {"null push", 0, [&] { return Zev_Queue_Push(nullptr, b) * 10 + Zev_Queue_Push(nullptr, nullptr); }, -11, 0, 0,
         "ERR Zev_Queue_Push" + null_queue + "ERR Zev_Queue_Push" + null_queue, 0},
        {"null pop", 0, [&] { return Zev_Queue_Pop(nullptr, b) * 10 + Zev_Queue_Pop(nullptr, nullptr); }, -11, 0, 0,
         "ERR Zev_Queue_Pop" + null_queue + "ERR Zev_Queue_Pop" + null_queue, 0},
        {"null clear", 0, [] { return Zev_Queue_Clear(nullptr), 0; }, 0, 0, 0, "ERR Zev_Queue_Clear" + null_queue, 0},
        {"null destroy", 0, [] { return Zev_Queue_Destroy(nullptr), 0; }, 0, 0, 0, "ERR Zev_Queue_Destroy" + null_queue, 0},
    };
    // clang-format on
    for (const auto &[what, before, call, result, locks, signals, lines, after] : cases) {
        ring(8);
        fill(pattern(before, 10));
        queue(4, 1);
        Spy spy;
        const auto [r, logged_lines] = logged(call);
        EXPECT_EQ(r, result) << what;
        EXPECT_EQ(std::vector<int>({spy.locks, spy.signals}), std::vector<int>({locks, signals}))
            << what << ": locks, signals";
        EXPECT_EQ(std::accumulate(logged_lines.begin(), logged_lines.end(), std::string()), lines) << what;
        EXPECT_EQ(spy.sleeps.size(), strstr(what, "Wait") != nullptr ? logged_lines.size() : 0)
            << what;  // one per miss
        EXPECT_EQ(ring_ != nullptr ? RingBuffer_GetDataSize(ring_) : 0, after) << what;
    }
    Spy spy;
    queue(4, 2);
    EXPECT_EQ(spy.inits, 0) << "the queue's mutex is zero-filled, never initialised";
    ring(2);
    EXPECT_EQ(spy.inits, 1) << "the ring initialises its own";
}

// The Wait forms sleep after every miss with one retry budget per call
// (below 1 still means one try): bytes that go through do not renew it.
TEST_F(Containers, RingWaitFormsShareOneRetryBudgetPerCall) {
    for (const auto &[retry, sleeps] : {std::pair{INT32_MIN, 1}, {-1, 1}, {0, 1}, {1, 1}, {2, 2}, {5, 5}}) {
        for (const bool in : {true, false}) {
            ring(4);
            fill(pattern(in ? 3 : 0, 0));
            uint8_t b[2] = {};
            Spy spy;
            EXPECT_EQ(
                logged([&, retry = retry, in = in] {
                    return in ? RingBuffer_StrInWait(ring_, b, 2, retry)
                              : RingBuffer_StrOutWait(ring_, b, 2, retry);
                }),
                std::pair(0, Lines(static_cast<size_t>(sleeps), in ? full_line("rb") : empty_line("rb"))));
            EXPECT_EQ(spy.sleeps, std::vector<long>(static_cast<size_t>(sleeps), 10000)) << retry << in;
        }
    }
    // A direct peer brings one byte at every sleep: the third miss ends the
    // call with two bytes taken and the third left in the ring.
    ring(8);
    Bytes out(5, 0);
    Spy spy([&](int n) { RingBuffer_In(ring_, static_cast<uint8_t>(0x40 + n)); });
    EXPECT_EQ(logged([&] { return RingBuffer_StrOutWait(ring_, out.data(), 5, 3); }),
              std::pair(2, Lines(3, empty_line("rb"))));
    EXPECT_EQ(out, (Bytes{0x41, 0x42, 0, 0, 0}));
    EXPECT_EQ(RingBuffer_GetDataSize(ring_) * 1000 + RingBuffer_Out(ring_, out.data()) * 100 + out[0],
              1167);  // 0x43
}

TEST_F(Containers, RingCreationRefusesCapacitiesBelowOneAndCutsNamesAt31) {
    for (int capacity : {0, -1, INT32_MIN}) {
        EXPECT_EQ(logged([&] { return RingBuffer_create("cap", capacity); }),
                  std::pair((void *)nullptr, Lines{"ERR RingBuffer_create :cap:capacity[" +
                                                   std::to_string(capacity) + "] below 1\n"}));
    }
    const std::string n31(31, 'n'), n32 = n31 + "X";
    using Name = std::pair<const char *, std::string>;
    for (const auto &[name, kept] :
         {Name{"", ""}, Name{nullptr, ""}, Name{n31.c_str(), n31}, Name{n32.c_str(), n31}}) {
        ring(1, name);
        uint8_t b = 0;
        EXPECT_EQ(logged([&] { RingBuffer_In(ring_, 1), RingBuffer_Out(ring_, &b); }),
                  (Lines{full_line(kept), empty_line(kept)}));
    }
}

// Every slot is usable (none without slots), elements are copied to their
// size exactly (none for size 0), and full and empty say so, whether an
// element is given or not.
TEST_F(Containers, QueueEverySlotIsUsable) {
    // clang-format off
    for (const auto &[size, capacity] : {std::pair<uint32_t, int>{4, 1}, {3, 2}, {4097, 2}, {4, 33}, {0, 2}, {16, 0},
                                         {4, -1}, {4, INT32_MIN}}) {
        // clang-format on
        queue(size, capacity);
        ASSERT_NE(q_, nullptr);
        const int slots = std::max(capacity, 0);
        Bytes e(size + 8);
        for (int i = 0; i < slots; ++i) {  // one buffer: the queue keeps copies
            e = pattern(static_cast<int>(e.size()), i);
            ASSERT_EQ(Zev_Queue_Push(q_, e.data()), 0) << capacity;
        }
        int r1 = 0, r2 = 0;
        EXPECT_EQ(logged([&] { r1 = Zev_Queue_Push(q_, e.data()), r2 = Zev_Queue_Push(q_, nullptr); }),
                  (Lines{kFull, kFull}));
        EXPECT_EQ(r1 * 10 + r2, -22) << capacity;
        EXPECT_EQ(Zev_Queue_GetLen(q_), slots);
        for (int i = 0; i < slots; ++i) {
            Bytes out(size + 8, 0xEE), want = pattern(static_cast<int>(size) + 8, i);
            std::fill(want.begin() + size, want.end(), 0xEE);
            ASSERT_EQ(Zev_Queue_Pop(q_, out.data()), 0);
            ASSERT_EQ(out, want) << size << " " << i;
        }
        EXPECT_EQ(logged([&] { r1 = Zev_Queue_Pop(q_, nullptr), r2 = Zev_Queue_Pop(q_, e.data()); }),
                  (Lines{kEmpty, kEmpty}));
        EXPECT_EQ(r1 * 10 + r2, -22) << capacity;
        EXPECT_EQ(Zev_Queue_GetLen(q_), 0);
    }
}

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
TEST_F(Containers, CreationFailsWholeAtEveryAllocation) {
    capture_stdout([] { ZEV_COMM_ERR("warm up\n"); });  // the first line may allocate
    // what, creation, its allocations (the ring: record, data; the queue:
    // record, slot array, one per slot), the line of a failure
    const std::tuple<const char *, std::function<void *()>, int, Lines> cases[] = {
        // clang-format off
        {"ring", [] { return RingBuffer_create("ring", 64); }, 2, Lines{"ERR RingBuffer_create :ring:malloc fail\n"}},
        {"queue 64x3", [] { return Zev_Queue_Create(64, 3); }, 5, {}}, {"queue 1x1", [] { return Zev_Queue_Create(1, 1); }, 3, {}},
        {"queue 0x2", [] { return Zev_Queue_Create(0, 2); }, 4, {}}, {"queue 16x0", [] { return Zev_Queue_Create(16, 0); }, 1, {}},
        {"queue 16x-5", [] { return Zev_Queue_Create(16, -5); }, 1, {}}};
    // clang-format on
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
            const std::string out = capture_stdout(
                [&, &create = create] { left = window(fail_at, [&] { made = create(); }).second; });
            EXPECT_EQ(made, nullptr) << what << " " << fail_at;
            EXPECT_EQ(left, 0) << what << ": nothing kept after failing call " << fail_at;
            EXPECT_EQ(summarise(out), lines) << what << " " << fail_at;
        }
    }
}

}  // namespace
