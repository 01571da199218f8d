# Commands, threads and utilities (the files family's process functions).
comm_add_test(test_sys SOURCES files/test_sys.cpp FAKE_CLOCK)
comm_add_test(test_sys_thread SOURCES files/test_sys_thread.cpp LABELS threads)
# Zones, local time, setting the clock. The calendar internals are compiled
# in so that the 64-bit fall-back is tested where time_t is wide as well.
comm_add_test(test_datetime SOURCES datetime/test_zone.cpp datetime/test_set_clock.cpp
  ${CMAKE_SOURCE_DIR}/datetime/calendar.cpp FAKE_CLOCK FAKE_SETTINGS)
comm_add_test(test_datetime_flag SOURCES datetime/test_flag.cpp FAKE_CLOCK FAKE_SETTINGS)
