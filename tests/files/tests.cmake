# File chores, key=value texts and SD discovery. usleep and the FAT
# attribute requests are answered inside the test programs.
comm_add_test(test_file_chores SOURCES files/test_file_chores.cpp)
comm_add_test(test_param_text SOURCES files/test_param_text.cpp)
