# SPDX-License-Identifier: MIT
find_program(COMM_LAME_EXECUTABLE lame)
comm_add_test(test_media SOURCES media/test_media.cpp LABELS threads LIBS comm_minimp3)
target_compile_definitions(test_media PRIVATE COMM_LAME="$<$<BOOL:${COMM_LAME_EXECUTABLE}>:${COMM_LAME_EXECUTABLE}>")
comm_add_test(test_commctl_media SOURCES media/test_commctl_media.cpp BOARD TOOLS)
