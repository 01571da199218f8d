# SPDX-License-Identifier: MIT
comm_add_test(test_datetime SOURCES datetime/test_zone.cpp datetime/test_set_clock.cpp FAKE_CLOCK FAKE_SETTINGS)
# The time-set flag has no way back: a program of its own.
comm_add_test(test_datetime_flag SOURCES datetime/test_flag.cpp FAKE_CLOCK FAKE_SETTINGS)
comm_add_test(test_date_sim SOURCES datetime/test_date_sim.cpp TOOLS)
