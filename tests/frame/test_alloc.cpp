// SPDX-License-Identifier: MIT
// Heap use of the exported calls once warm: the calling thread's
// allocations are counted by hooks in the test program (the sanitizers'
// malloc hooks, or malloc and friends interposed over the C library's).
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "../media/media_test.hpp"
#include "capture.hpp"
#include "comm_clock.h"
#include "comm_datetime.h"
#include "comm_digest.h"
#include "comm_file.h"
#include "comm_log.h"
#include "comm_mp3.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"
#include "comm_sys.h"
#include "tempdir.hpp"

namespace {

struct Count {
    long allocs = 0, frees = 0;
};
thread_local Count t_count;
thread_local bool t_counting = false;

void note_alloc(const void *p) { t_count.allocs += t_counting && p != nullptr; }
void note_free(const void *p) { t_count.frees += t_counting && p != nullptr; }

}  // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void *, size_t),
                                                         void (*)(const volatile void *));
namespace {
void on_malloc(const volatile void *p, size_t) { note_alloc(const_cast<const void *>(p)); }
void on_free(const volatile void *p) { note_free(const_cast<const void *>(p)); }
[[maybe_unused]] const int kHooks = __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free);
}  // namespace
#else
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);
void __libc_free(void *);

static void *noted(void *p) { return note_alloc(p), p; }
void *malloc(size_t n) { return noted(__libc_malloc(n)); }
void *calloc(size_t n, size_t size) { return noted(__libc_calloc(n, size)); }
void *realloc(void *old, size_t n) {
    void *p = __libc_realloc(old, n);
    if (p != old) note_free(old), note_alloc(p);
    return p;
}
int posix_memalign(void **out, size_t align, size_t n) {
    void *p = __libc_memalign(align, n);
    if (p == nullptr) return ENOMEM;
    *out = noted(p);
    return 0;
}
void free(void *p) { note_free(p), __libc_free(p); }
}
#endif

namespace {

enum class Heap { None, Balanced };

// What fn allocates and frees; counted_warm makes one warm-up call first.
Count counted(const std::function<void()> &fn) {
    t_count = {}, t_counting = true;
    fn();
    t_counting = false;
    return t_count;
}
Count counted_warm(const std::function<void()> &fn) { return fn(), counted(fn); }

TEST(Alloc, CallsOnceWarm) {
    unsetenv("TZ");  // as on the camera: the zone from the zone file
    tzset();
    testsupport::TempDir dir;
    const std::string mp3 = dir / "in.mp3", text = dir / "text";
    ASSERT_TRUE(testsupport::write_file(mp3, testsupport::silent_frames(10, false)));
    ASSERT_TRUE(testsupport::write_file(text, "key=value\n"));
    std::vector<unsigned char> big(1 << 16, 0x5A), pcm(10 * 2304);
    unsigned char digest[16];
    char buf[128];
    MD5Context ctx;
    void *ring = RingBuffer_create("alloc", 8192);
    void *queue = Zev_Queue_Create(32, 8);
    hiSYSTEM_TM_S tm{};
    const Heap N = Heap::None, B = Heap::Balanced;
    // clang-format off
    const std::tuple<const char *, std::function<void()>, Heap> cases[] = {
        {"printed log line", [] { ZEV_COMM_ERR("%s %d\n", "x", 1); }, N},
        {"silenced log line", [] { ZEV_COMM_VVV("%s %d\n", "x", 1); }, N},
        {"ZevSysRtcTime", [] { (void)ZevSysRtcTime(); }, N}, {"ZevSysFormatRtcTime", [&] { (void)ZevSysFormatRtcTime(buf); }, N},
        {"boot clocks", [] { (void)(Zev_Comm_GetBootMs() + Zev_Comm_GetBoot100Ms() + Zev_GetSysBootSec()); }, N},
        {"dir_md5_digest", [&] { dir_md5_digest(digest, big.data(), static_cast<uint32_t>(big.size())); }, N},
        {"dir_md5_string", [&] { dir_md5_string(buf, big.data(), 100); }, N},
        {"MD5 streaming", [&] { MD5Init(&ctx), MD5Update(&ctx, big.data(), 1000), MD5FinalString(buf, &ctx); }, N},
        {"Zev_Comm_CheckCrc8", [&] { (void)Zev_Comm_CheckCrc8(big.data(), 4096, 0); }, N},
        {"Zev_Mp3Decode", [&] { (void)Zev_Mp3Decode(mp3.c_str(), pcm.data(), static_cast<int32_t>(pcm.size())); }, N},
        {"ring transfers", [&] { (void)(RingBuffer_StrIn(ring, big.data(), 4096) + RingBuffer_StrOut(ring, pcm.data(), 4096) +
                                        RingBuffer_In(ring, 1) + RingBuffer_Out(ring, pcm.data())); }, N},
        {"queue transfers", [&] { (void)(Zev_Queue_Push(queue, big.data()) + Zev_Queue_Pop(queue, pcm.data())); }, N},
        {"Zev_Comm_GetLocalTime", [&] { (void)Zev_Comm_GetLocalTime(&tm); }, B},
        {"file chores", [&] { (void)(Zev_Comm_WriteFile(text.c_str(), "key=value\n", 10) +
                                     Zev_Comm_ReadFile(text.c_str(), buf, sizeof buf) + Zev_Comm_GetFileSize(text.c_str())); }, B},
        {"Zev_Comm_Cmd", [&] { (void)Zev_Comm_Cmd("echo hi", buf, sizeof buf); }, B},
        {"ring and queue lives", [] { RingBuffer_destroy(RingBuffer_create("life", 64)), Zev_Queue_Destroy(Zev_Queue_Create(16, 4)); }, B}};
    // clang-format on
    std::vector<std::string> found;
    (void)testsupport::capture_stdout([&] {
        for (const auto &[name, call, heap] : cases) {
            const Count n = counted_warm(call);
            const std::string what = std::string(name) + ": " + std::to_string(n.allocs) + " allocations";
            if (heap == Heap::None && n.allocs != 0) found.push_back(what);
            if (n.allocs != n.frees) found.push_back(what + ", " + std::to_string(n.frees) + " frees");
        }
    });
    EXPECT_EQ(found, std::vector<std::string>{});
    // The owners keep what they allocate until their destroy call.
    EXPECT_EQ(counted_warm([] { RingBuffer_destroy(nullptr); }).allocs, 0);
    void *owned = nullptr;
    const Count held = counted([&] { owned = Zev_Queue_Create(16, 4); });
    EXPECT_GT(held.allocs, held.frees) << "the queue holds its memory";
    Zev_Queue_Destroy(owned);
    RingBuffer_destroy(ring);
    Zev_Queue_Destroy(queue);
    setenv("TZ", "UTC0", 1);
    tzset();
}

}  // namespace
