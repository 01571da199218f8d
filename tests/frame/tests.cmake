# SPDX-License-Identifier: MIT
comm_add_test(test_frame SOURCES frame/test_log.cpp frame/test_clock.cpp frame/test_dump.cpp frame/test_local_time.cpp
  FAKE_CLOCK)
comm_add_test(test_log_threads SOURCES frame/test_log_threads.cpp LABELS threads)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " frame_emulator)
  target_compile_definitions(test_frame PRIVATE COMM_TEST_EMULATOR="${frame_emulator}")
endif()
comm_add_test(test_alloc SOURCES frame/test_alloc.cpp)
