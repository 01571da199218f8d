// SPDX-License-Identifier: MIT
// Holds a container's pthread mutex for one scope. The results of the
// pthread calls are not looked at: a default mutex that is used correctly
// does not fail.
#pragma once

#include <pthread.h>

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
