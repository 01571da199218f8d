// SPDX-License-Identifier: MIT
// A usleep for one file of a test program, libcomm's too: it records the pause
// and runs the test's hook (given the pause's index) instead of sleeping.
#pragma once

#include <unistd.h>

#include <functional>
#include <vector>

namespace fake_sleep {
inline std::vector<unsigned> pauses;  // microseconds, in order
inline std::function<void(size_t, unsigned)> on_pause;
}  // namespace fake_sleep

extern "C" int usleep(useconds_t usec) {
    fake_sleep::pauses.push_back(static_cast<unsigned>(usec));
    if (fake_sleep::on_pause)
        fake_sleep::on_pause(fake_sleep::pauses.size() - 1, static_cast<unsigned>(usec));
    return 0;
}
