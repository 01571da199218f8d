# SPDX-License-Identifier: MIT
# File chores, key=value texts and commands; SD discovery and the FAT
# attribute requests on the testbed, usleep answered in the program.
comm_add_test(test_files SOURCES files/test_file_chores.cpp files/test_param_text.cpp files/test_sys.cpp FAKE_CLOCK)
comm_add_test(test_sys_thread SOURCES files/test_sys_thread.cpp LABELS threads)
comm_add_test(test_sd_card SOURCES files/test_sd_card.cpp BOARD)
