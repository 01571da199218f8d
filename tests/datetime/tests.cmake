comm_add_test(test_datetime SOURCES datetime/test_zone.cpp datetime/test_set_clock.cpp FAKE_CLOCK FAKE_SETTINGS)
# The time-set flag has no way back: a program of its own.
comm_add_test(test_datetime_flag SOURCES datetime/test_flag.cpp FAKE_CLOCK FAKE_SETTINGS)
if(COMM_WITH_UMOCKDEV AND COMM_BUILD_TOOLS)
  comm_add_test(test_date_sim SOURCES datetime/test_date_sim.cpp sim/run.cpp)
  target_compile_definitions(test_date_sim PRIVATE
    BOARDSIM_EXE="$<TARGET_FILE:boardsim>" COMMCTL_EXE="$<TARGET_FILE:commctl>")
  add_dependencies(test_date_sim boardsim commctl boardsim_preload)
  set_property(TEST test_date_sim APPEND PROPERTY LABELS board)
endif()
