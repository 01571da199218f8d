# SPDX-License-Identifier: MIT
comm_add_test(test_digest SOURCES digest/test_digest.cpp)
