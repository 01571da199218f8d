# SPDX-License-Identifier: MIT
comm_add_test(test_gpio SOURCES board/test_gpio.cpp BOARD)
# The PMU descriptor and the kernel command line are kept per process: the
# temperature test mode runs in a program of its own.
comm_add_test(test_switches_pmu SOURCES board/test_switches_pmu.cpp BOARD)
comm_add_test(test_switches_testmode SOURCES board/test_switches_testmode.cpp BOARD)
# commctl's board commands end to end on boardsim.
comm_add_test(test_pmu_commctl SOURCES board/test_pmu_commctl.cpp TOOLS)
comm_add_test(test_pwm SOURCES board/test_pwm.cpp BOARD)
comm_add_test(test_uart SOURCES board/test_uart.cpp)
