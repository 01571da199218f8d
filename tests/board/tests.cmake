comm_add_test(test_gpio SOURCES board/test_gpio.cpp BOARD)
# The PMU descriptor and the kernel command line are kept per process: the
# temperature test mode runs in a program of its own.
comm_add_test(test_pmu SOURCES board/test_pmu.cpp support/ioctl_device.cpp BOARD)
comm_add_test(test_switches SOURCES board/test_switches.cpp support/ioctl_device.cpp BOARD)
comm_add_test(test_switches_testmode SOURCES board/test_switches_testmode.cpp support/ioctl_device.cpp BOARD)
