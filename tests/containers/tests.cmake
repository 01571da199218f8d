# SPDX-License-Identifier: MIT
# Ring buffer and queue: edges and creation out of memory, and threads.
comm_add_test(test_containers SOURCES containers/test_containers.cpp)
comm_add_test(test_containers_threads SOURCES containers/test_threads.cpp LABELS threads)
