# boardsim and commctl end to end: programs run on the simulated board.
comm_add_test(test_boardsim SOURCES sim/test_boardsim.cpp TOOLS)
# Every reading command's --json object, through a real JSON parser.
if(TARGET boardsim)
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_FOUND)
    add_test(NAME commctl_json COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/sim/test_json.py
                                       $<TARGET_FILE:boardsim> $<TARGET_FILE:commctl>)
    set_tests_properties(commctl_json PROPERTIES ENVIRONMENT "${COMM_TEST_ENV}" LABELS board)
  endif()
elseif(CMAKE_CROSSCOMPILING AND COMM_WITH_UMOCKDEV)
  comm_add_pc_only_test(commctl_json)
endif()
