comm_add_test(test_frame SOURCES frame/test_log.cpp frame/test_clock.cpp frame/test_dump.cpp FAKE_CLOCK)
