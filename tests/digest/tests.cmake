comm_add_test(test_digest SOURCES digest/test_md5.cpp digest/test_crc8.cpp)
