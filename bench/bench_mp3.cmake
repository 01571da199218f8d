# SPDX-License-Identifier: MIT
# bench_mp3 measures against libmpg123 and makes its MP3 file with lame.
find_package(PkgConfig REQUIRED)
pkg_check_modules(MPG123 REQUIRED IMPORTED_TARGET libmpg123)
find_package(Threads REQUIRED)
find_program(COMM_LAME_EXECUTABLE lame REQUIRED)
target_link_libraries(${name} PRIVATE PkgConfig::MPG123 Threads::Threads comm_minimp3)
target_compile_definitions(${name} PRIVATE COMM_LAME="${COMM_LAME_EXECUTABLE}")
