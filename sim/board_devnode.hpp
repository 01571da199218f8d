// SPDX-License-Identifier: MIT
// Device nodes of the simulated board: a node under the testbed's /dev is
// always backed by an ioctl handler (the umockdev preload connects every
// open of a /dev file to one).
#pragma once

#include <cstdint>
#include <string>

#include "board.hpp"

typedef struct _UMockdevIoctlBase UMockdevIoctlBase;
typedef struct _UMockdevIoctlClient UMockdevIoctlClient;

namespace comm::sim {

// Adds `devnode` ("/dev/mmcblk0") as a device of `subsystem` with the
// device number `dev` ("179:0"), answered by `handler` (a plain
// UMockdevIoctlBase refuses every request). Takes the handler's reference.
bool add_device_node(Board &board, const char *subsystem, const std::string &devnode, const char *dev,
                     UMockdevIoctlBase *handler = nullptr);
// The same in any testbed whose root folder is `root`.
bool add_device_node(UMockdevTestbed *testbed, const std::string &root, const char *subsystem,
                     const std::string &devnode, const char *dev, UMockdevIoctlBase *handler);

// Answers one request whose argument is the address of a 32-bit word:
// `serve` gets the word to read or change and returns 0 (done: the word
// goes back to the caller) or the errno of a failed request.
using WordServer = int (*)(void *context, unsigned long request, int32_t &word);
void serve_word_request(UMockdevIoctlClient *client, WordServer serve, void *context);

}  // namespace comm::sim
