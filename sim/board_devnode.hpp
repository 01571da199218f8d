// Device nodes of the simulated board: a node under the testbed's /dev is
// always backed by an ioctl handler (the umockdev preload connects every
// open of a /dev file to one).
#pragma once

#include <string>

#include "board.hpp"

typedef struct _UMockdevIoctlBase UMockdevIoctlBase;

namespace comm::sim {

// Adds `devnode` ("/dev/mmcblk0") as a device of `subsystem` with the
// device number `dev` ("179:0"), answered by `handler` (a plain
// UMockdevIoctlBase refuses every request). Takes the handler's reference.
bool add_device_node(Board &board, const char *subsystem, const std::string &devnode, const char *dev,
                     UMockdevIoctlBase *handler = nullptr);

}  // namespace comm::sim
