# boardsim and commctl end to end: programs run on the simulated board.
if(COMM_WITH_UMOCKDEV AND COMM_BUILD_TOOLS)
  comm_add_test(test_boardsim SOURCES sim/test_boardsim.cpp sim/run.cpp)
  target_compile_definitions(test_boardsim PRIVATE
    BOARDSIM_EXE="$<TARGET_FILE:boardsim>" COMMCTL_EXE="$<TARGET_FILE:commctl>"
    DEMO_EXE="$<TARGET_FILE:dashcam_demo>")
  add_dependencies(test_boardsim boardsim commctl dashcam_demo boardsim_preload)
  set_property(TEST test_boardsim APPEND PROPERTY LABELS board)
endif()
