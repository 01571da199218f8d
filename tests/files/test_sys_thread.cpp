// Thread creation: the stack floor, read inside the new thread.
#include <pthread.h>

#include <gtest/gtest.h>

#include <climits>

#include "comm_sys.h"

namespace {

struct Seen {
    size_t stack = 0;
    void *arg = nullptr;
};

// Reports the stack size the thread really has, and the argument it got.
void *report(void *arg) {
    auto *seen = new Seen;
    seen->arg = arg;
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) == 0) {
        (void)pthread_attr_getstacksize(&attr, &seen->stack);
        pthread_attr_destroy(&attr);
    }
    return seen;
}

Seen join(pthread_t t) {
    void *ret = nullptr;
    EXPECT_EQ(pthread_join(t, &ret), 0) << "threads are joinable";
    Seen s = *static_cast<Seen *>(ret);
    delete static_cast<Seen *>(ret);
    return s;
}

TEST(CreateThread, StackFloorOf16384) {
    const struct {
        int32_t asked;
        size_t got;
    } cases[] = {
        {INT32_MIN, 16384}, {-1, 16384}, {0, 16384}, {1, 16384}, {16383, 16384},
        {16384, 16384},     {65536, 65536}, {1 << 20, 1 << 20},
    };
    for (const auto &c : cases) {
        int marker = 0;
        pthread_t t;
        ASSERT_EQ(Zev_Comm_CreateThreadEx(&t, report, c.asked, &marker), 0) << c.asked;
        const Seen s = join(t);
        EXPECT_EQ(s.stack, c.got) << c.asked;
        EXPECT_EQ(s.arg, &marker);
    }
}

TEST(CreateThread, PassesANullArgument) {
    pthread_t t;
    ASSERT_EQ(Zev_Comm_CreateThread(&t, report, 0), 0);
    const Seen s = join(t);
    EXPECT_EQ(s.arg, nullptr);
    EXPECT_EQ(s.stack, 16384u);
}

}  // namespace
