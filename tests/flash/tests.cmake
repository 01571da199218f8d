comm_add_test(test_flash_plain SOURCES flash/test_flash_plain.cpp FAKE_SETTINGS)
comm_add_test(test_flash SOURCES flash/test_flash.cpp BOARD FAKE_SETTINGS)

if(COMM_WITH_UMOCKDEV AND COMM_BUILD_TOOLS)
  comm_add_test(test_flash_commctl SOURCES flash/test_flash_commctl.cpp sim/run.cpp)
  target_include_directories(test_flash_commctl PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_definitions(test_flash_commctl PRIVATE
    BOARDSIM_EXE="$<TARGET_FILE:boardsim>" COMMCTL_EXE="$<TARGET_FILE:commctl>")
  add_dependencies(test_flash_commctl boardsim commctl boardsim_preload)
  set_property(TEST test_flash_commctl APPEND PROPERTY LABELS board)
endif()
