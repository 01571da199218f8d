// Holds a container's pthread mutex for one scope. The results of the
// pthread calls are not looked at: a default mutex that is used correctly
// does not fail.
#pragma once

#include <pthread.h>

#if (defined(__x86_64__) || defined(__i386__)) && !defined(__clang__)
// The containers call the lock functions straight through the GOT rather
// than through a PLT stub: one jump fewer on every lock and unlock.
extern "C" int pthread_mutex_lock(pthread_mutex_t *) __attribute__((noplt));
extern "C" int pthread_mutex_unlock(pthread_mutex_t *) __attribute__((noplt));
#endif

namespace comm {

class MutexLock {
public:
    explicit MutexLock(pthread_mutex_t &m) : m_(m) { pthread_mutex_lock(&m_); }
    ~MutexLock() { pthread_mutex_unlock(&m_); }
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

private:
    pthread_mutex_t &m_;
};

}  // namespace comm
