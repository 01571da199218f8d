// SPDX-License-Identifier: MIT
// Thread creation: the stack floor, read inside the new thread.
#include <gtest/gtest.h>
#include <pthread.h>

#include <climits>

#include "comm_sys.h"

namespace {

void *report(void *arg) {  // the stack size the thread has, and its argument
    auto *seen = new std::pair<size_t, void *>(0, arg);
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) == 0) {
        (void)pthread_attr_getstacksize(&attr, &seen->first);
        pthread_attr_destroy(&attr);
    }
    return seen;
}

TEST(CreateThread, StackFloorOf16384) {
    int marker = 0;
    const std::pair<int32_t, size_t> cases[] = {{INT32_MIN, 16384}, {0, 16384},     {16383, 16384},
                                                {16384, 16384},     {65536, 65536}, {1 << 20, 1 << 20},
                                                {INT32_MAX, 16384}};
    for (const auto &[asked, got] : cases) {
        pthread_t t;
        void *arg = asked == INT32_MAX ? nullptr : &marker;  // INT32_MAX: Zev_Comm_CreateThread with size 0
        ASSERT_EQ(
            arg ? Zev_Comm_CreateThreadEx(&t, report, asked, arg) : Zev_Comm_CreateThread(&t, report, 0), 0);
        void *ret = nullptr;
        ASSERT_EQ(pthread_join(t, &ret), 0) << "threads are joinable";
        const std::pair<size_t, void *> seen = *static_cast<std::pair<size_t, void *> *>(ret);
        delete static_cast<std::pair<size_t, void *> *>(ret);
#if defined(__SANITIZE_THREAD__)  // ThreadSanitizer gives small stacks room of its own
        EXPECT_GE(seen.first, got) << asked;
#else
        EXPECT_EQ(seen.first, got) << asked;
#endif
        EXPECT_EQ(seen.second, arg) << asked;
    }
}

}  // namespace
