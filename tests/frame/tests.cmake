comm_add_test(test_frame SOURCES frame/test_log.cpp frame/test_clock.cpp frame/test_dump.cpp frame/test_local_time.cpp
  FAKE_CLOCK)
comm_add_test(test_log_threads SOURCES frame/test_log_threads.cpp LABELS threads)
