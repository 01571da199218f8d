# boardsim and commctl end to end: programs run on the simulated board.
comm_add_test(test_boardsim SOURCES sim/test_boardsim.cpp TOOLS)
