// Watches what the containers do with their lock, condition variable and
// sleeps. Linking sync_spy.cpp defines usleep, pthread_mutex_lock,
// pthread_mutex_init and pthread_cond_signal in the test program, which take
// their place for libcomm too. While a Recording is alive the calls are
// counted and usleep does not sleep: it calls the test's hook instead, so
// that a test can play the peer that frees room or brings data.
#pragma once

#include <functional>
#include <vector>

namespace containers_spy {

struct Counts {
    int locks = 0;
    int mutex_inits = 0;
    int signals = 0;
    std::vector<long> sleeps_us;
};

class Recording {
public:
    // hook(n) runs at the n-th usleep of the recording (from 1).
    explicit Recording(std::function<void(int)> hook = {});
    ~Recording();
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    const Counts &counts() const;
};

}  // namespace containers_spy
