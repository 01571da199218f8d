comm_add_test(test_gpio SOURCES board/test_gpio.cpp BOARD)
comm_add_test(test_pwm SOURCES board/test_pwm.cpp BOARD)
comm_add_test(test_uart SOURCES board/test_uart.cpp)
