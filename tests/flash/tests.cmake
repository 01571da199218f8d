comm_add_test(test_line_reader SOURCES flash/test_line_reader.cpp)
comm_add_test(test_sn_unstarted SOURCES flash/test_sn_unstarted.cpp FAKE_SETTINGS)

if(COMM_WITH_UMOCKDEV)
  # A simulated flash (/proc/mtd and /dev/mtdblockN in a testbed) and
  # identity records built byte by byte.
  add_library(comm_flash_bed STATIC flash/flash_bed.cpp)
  target_link_libraries(comm_flash_bed PUBLIC comm_test_board)
  comm_warnings(comm_flash_bed)
  add_library(comm_sn_records STATIC flash/sn_records.cpp)
  target_link_libraries(comm_sn_records PUBLIC comm_flash_bed comm::comm)
  comm_warnings(comm_sn_records)
endif()

comm_add_test(test_mtd_lookup SOURCES flash/test_mtd_lookup.cpp BOARD)
comm_add_test(test_raw_block SOURCES flash/test_raw_block.cpp BOARD LIBS comm_flash_bed)
comm_add_test(test_mtd_manager SOURCES flash/test_mtd_manager.cpp BOARD LIBS comm_flash_bed)
comm_add_test(test_sn_start SOURCES flash/test_sn_start.cpp BOARD FAKE_SETTINGS LIBS comm_sn_records)
comm_add_test(test_sn_powercut SOURCES flash/test_sn_powercut.cpp BOARD FAKE_SETTINGS LIBS comm_sn_records)
comm_add_test(test_sn_access SOURCES flash/test_sn_access.cpp BOARD FAKE_SETTINGS LIBS comm_sn_records)

if(COMM_WITH_UMOCKDEV AND COMM_BUILD_TOOLS)
  comm_add_test(test_flash_commctl SOURCES flash/test_flash_commctl.cpp sim/run.cpp)
  target_include_directories(test_flash_commctl PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_definitions(test_flash_commctl PRIVATE
    BOARDSIM_EXE="$<TARGET_FILE:boardsim>" COMMCTL_EXE="$<TARGET_FILE:commctl>")
  add_dependencies(test_flash_commctl boardsim commctl boardsim_preload)
  set_property(TEST test_flash_commctl APPEND PROPERTY LABELS board)
endif()
