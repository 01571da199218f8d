// SPDX-License-Identifier: MIT
// How much of the calling thread's stack is left, for calls that need more
// than a small thread may have.
#pragma once

#include <cstddef>

namespace comm {

// Bytes between the caller's frame and the lowest usable address of the
// calling thread's stack; SIZE_MAX when the stack cannot be found. The
// thread's stack is looked up once per thread (pthread_getattr_np), so that
// later calls are a subtraction.
size_t stack_room();

}  // namespace comm
