// SPDX-License-Identifier: MIT
// A fake monotonic and wall clock for the test program. Linking
// fake_clock.cpp into a test defines clock_gettime, time, gettimeofday and
// settimeofday in the executable, which takes their place for libcomm too.
// While the fake is off they pass through to the C library (settimeofday
// never does: a test must not set the machine's clock).
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <ctime>

namespace testsupport::fake_clock {

void enable();   // start faking, from the values set below
void disable();  // back to the real clocks

void set_monotonic(int64_t sec, long nsec);
void set_wall(int64_t sec, long usec = 0);
int64_t wall_seconds();

// settimeofday calls seen while enabled (or refused while disabled).
int settimeofday_calls();
struct timeval last_settimeofday();

// RAII: enable on construction, disable on destruction.
struct Scope {
    Scope() { enable(); }
    ~Scope() { disable(); }
};

}  // namespace testsupport::fake_clock
