# Commands, threads and utilities (the files family's process functions).
comm_add_test(test_sys SOURCES files/test_sys.cpp FAKE_CLOCK)
comm_add_test(test_sys_thread SOURCES files/test_sys_thread.cpp LABELS threads)
