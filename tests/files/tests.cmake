# File chores, key=value texts and SD discovery. usleep and the FAT
# attribute requests are answered inside the test programs.
comm_add_test(test_file_chores SOURCES files/test_file_chores.cpp)
comm_add_test(test_param_text SOURCES files/test_param_text.cpp)
comm_add_test(test_wait_folder SOURCES files/test_wait_folder.cpp files/fake_sleep.cpp)
comm_add_test(test_sd_card SOURCES files/test_sd_card.cpp files/fake_sleep.cpp BOARD)
comm_add_test(test_file_shell SOURCES files/test_file_shell.cpp)
comm_add_test(test_file_hide_node SOURCES files/test_file_hide_node.cpp support/ioctl_device.cpp ${CMAKE_SOURCE_DIR}/sim/board_devnode.cpp BOARD)
