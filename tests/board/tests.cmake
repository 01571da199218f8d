comm_add_test(test_gpio SOURCES board/test_gpio.cpp BOARD)
