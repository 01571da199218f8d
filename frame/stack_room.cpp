// SPDX-License-Identifier: MIT
#include "frame/stack_room.hpp"

#include <pthread.h>

#include <cstdint>

namespace comm {
namespace {

struct StackBounds {
    bool asked;
    bool known;
    uintptr_t low;
};
thread_local StackBounds t_stack;

void find_stack(StackBounds &b) {
    b.asked = true;
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) != 0) return;
    void *low = nullptr;
    size_t size = 0;
    if (pthread_attr_getstack(&attr, &low, &size) == 0 && low != nullptr) {
        b.low = reinterpret_cast<uintptr_t>(low);
        b.known = true;
    }
    (void)pthread_attr_destroy(&attr);
}

}  // namespace

__attribute__((noinline)) size_t stack_room() {
    StackBounds &b = t_stack;
    if (!b.asked) find_stack(b);
    if (!b.known) return SIZE_MAX;
    const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    return here > b.low ? here - b.low : 0;
}

}  // namespace comm
