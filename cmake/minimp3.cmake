# minimp3, the MP3 frame decoder that the library compiles in.
#
# By default the npm package minimp3@1.0.0 is fetched with `npm pack` at
# configure time and its SHA-256 checked. -DMINIMP3_INCLUDE_DIR=<folder with
# minimp3.h> takes a checkout the user already has instead. Either way the
# header is copied into the build tree with its stray C++ include replaced by
# <stdint.h>, which is what it needs.
#
# Sets MINIMP3_BUILD_DIR (the folder of the fixed header) and
# MINIMP3_IMPL_SOURCE (the one C file that holds the decoder), and makes the
# target comm_minimp3 that gives the header to the targets that link it.
set(MINIMP3_INCLUDE_DIR "" CACHE PATH "Folder with minimp3.h to use instead of fetching the npm package")
set(MINIMP3_VERSION 1.0.0)
set(MINIMP3_SHA256 a70b94e01fe71d9db5d5d30d21b56a74ab21cd9c5262c5f7107cbe764b596c81)
set(MINIMP3_BUILD_DIR ${CMAKE_BINARY_DIR}/minimp3)
file(MAKE_DIRECTORY ${MINIMP3_BUILD_DIR})

if(MINIMP3_INCLUDE_DIR)
  set(minimp3_header ${MINIMP3_INCLUDE_DIR}/minimp3.h)
  if(NOT EXISTS ${minimp3_header})
    message(FATAL_ERROR "MINIMP3_INCLUDE_DIR=${MINIMP3_INCLUDE_DIR} has no minimp3.h")
  endif()
else()
  set(minimp3_tarball ${MINIMP3_BUILD_DIR}/minimp3-${MINIMP3_VERSION}.tgz)
  if(EXISTS ${minimp3_tarball})
    file(SHA256 ${minimp3_tarball} have)
    if(NOT have STREQUAL MINIMP3_SHA256)
      file(REMOVE ${minimp3_tarball})
    endif()
  endif()
  if(NOT EXISTS ${minimp3_tarball})
    find_program(NPM_EXECUTABLE npm)
    if(NOT NPM_EXECUTABLE)
      message(FATAL_ERROR "npm is needed to fetch minimp3 (or pass -DMINIMP3_INCLUDE_DIR=)")
    endif()
    message(STATUS "Fetching minimp3@${MINIMP3_VERSION} with npm pack")
    execute_process(COMMAND ${NPM_EXECUTABLE} pack minimp3@${MINIMP3_VERSION} --silent
                    WORKING_DIRECTORY ${MINIMP3_BUILD_DIR}
                    RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
    if(NOT rc EQUAL 0 OR NOT EXISTS ${minimp3_tarball})
      message(FATAL_ERROR "npm pack minimp3@${MINIMP3_VERSION} failed: ${err}")
    endif()
  endif()
  file(SHA256 ${minimp3_tarball} have)
  if(NOT have STREQUAL MINIMP3_SHA256)
    file(REMOVE ${minimp3_tarball})
    message(FATAL_ERROR "minimp3 tarball has SHA-256 ${have}, expected ${MINIMP3_SHA256}")
  endif()
  file(ARCHIVE_EXTRACT INPUT ${minimp3_tarball} DESTINATION ${MINIMP3_BUILD_DIR}/unpacked
       PATTERNS package/lib/minimp3.h)
  set(minimp3_header ${MINIMP3_BUILD_DIR}/unpacked/package/lib/minimp3.h)
endif()

file(READ ${minimp3_header} minimp3_text)
string(REPLACE "#include <iostream>" "#include <stdint.h>" minimp3_text "${minimp3_text}")
file(CONFIGURE OUTPUT ${MINIMP3_BUILD_DIR}/minimp3.h CONTENT "${minimp3_text}" @ONLY)

# The decoder's own unit: its two entry points get default visibility (the
# library exports them), everything else of it stays hidden or static.
set(MINIMP3_IMPL_SOURCE ${MINIMP3_BUILD_DIR}/minimp3_impl.c)
file(CONFIGURE OUTPUT ${MINIMP3_IMPL_SOURCE} CONTENT [=[
#pragma GCC visibility push(default)
#include "minimp3.h"
#pragma GCC visibility pop
#define MINIMP3_IMPLEMENTATION
#include "minimp3.h"
]=])
set_source_files_properties(${MINIMP3_IMPL_SOURCE} PROPERTIES COMPILE_OPTIONS "-w")
add_library(comm_minimp3 INTERFACE)
target_include_directories(comm_minimp3 SYSTEM INTERFACE ${MINIMP3_BUILD_DIR})
