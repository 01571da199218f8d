comm_add_test(test_line_reader SOURCES flash/test_line_reader.cpp)
comm_add_test(test_mtd_lookup SOURCES flash/test_mtd_lookup.cpp BOARD)
