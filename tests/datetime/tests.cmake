# Commands, threads and utilities (the files family's process functions).
comm_add_test(test_sys SOURCES files/test_sys.cpp FAKE_CLOCK)
comm_add_test(test_sys_thread SOURCES files/test_sys_thread.cpp LABELS threads)
# Zones, local time, setting the clock. The calendar internals are compiled
# in so that the 64-bit fall-back is tested where time_t is wide as well.
comm_add_test(test_datetime SOURCES datetime/test_zone.cpp datetime/test_set_clock.cpp
  ${CMAKE_SOURCE_DIR}/datetime/calendar.cpp FAKE_CLOCK FAKE_SETTINGS)
comm_add_test(test_datetime_flag SOURCES datetime/test_flag.cpp FAKE_CLOCK FAKE_SETTINGS)
# The board's clock end to end through boardsim and commctl.
if(COMM_WITH_UMOCKDEV AND COMM_BUILD_TOOLS)
  comm_add_test(test_date_sim SOURCES datetime/test_date_sim.cpp sim/run.cpp)
  target_compile_definitions(test_date_sim PRIVATE
    BOARDSIM_EXE="$<TARGET_FILE:boardsim>" COMMCTL_EXE="$<TARGET_FILE:commctl>")
  add_dependencies(test_date_sim boardsim commctl boardsim_preload)
  set_property(TEST test_date_sim APPEND PROPERTY LABELS board)
endif()
