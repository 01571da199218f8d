// SPDX-License-Identifier: MIT
// Thread creation with a floor on the stack size.
#include <pthread.h>

#include "comm_sys.h"

namespace comm {
namespace {

// Owns an initialised attribute object.
class ThreadAttr {
public:
    ThreadAttr() : ok_(pthread_attr_init(&attr_) == 0) {}
    ThreadAttr(const ThreadAttr &) = delete;
    ThreadAttr &operator=(const ThreadAttr &) = delete;
    ~ThreadAttr() {
        if (ok_) (void)pthread_attr_destroy(&attr_);
    }
    bool ok() const { return ok_; }
    pthread_attr_t *get() { return &attr_; }

private:
    pthread_attr_t attr_{};
    bool ok_;
};

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_CreateThreadEx(pthread_t *pThread, void *(*pStart)(void *), int32_t iStackSize,
                                         void *pArg) {
    const int32_t stack = iStackSize < ZEV_COMM_THREAD_STACK_MIN ? ZEV_COMM_THREAD_STACK_MIN : iStackSize;
    comm::ThreadAttr attr;
    if (!attr.ok()) return -1;
    if (pthread_attr_setstacksize(attr.get(), static_cast<size_t>(stack)) != 0) return -2;
    return pthread_create(pThread, attr.get(), pStart, pArg);
}

COMM_API int32_t Zev_Comm_CreateThread(pthread_t *pThread, void *(*pStart)(void *), int32_t iStackSize) {
    return Zev_Comm_CreateThreadEx(pThread, pStart, iStackSize, nullptr);
}

}  // extern "C"
