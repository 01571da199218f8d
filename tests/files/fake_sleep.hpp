// A recording usleep for the test program: linking fake_sleep.cpp puts it in
// place of the C library's for libcomm too. It never sleeps; it records the
// pause and runs the test's hook, which may change the world "meanwhile".
#pragma once

#include <functional>
#include <vector>

namespace testsupport::fake_sleep {

void reset();  // no pauses recorded, no hook
const std::vector<unsigned> &pauses();  // microseconds, in order
// Called with the index of the pause (0 for the first) and its length.
void on_pause(std::function<void(size_t index, unsigned usec)> hook);

}  // namespace testsupport::fake_sleep
