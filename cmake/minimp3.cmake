# SPDX-License-Identifier: MIT
# minimp3, the MP3 frame decoder that the library compiles in.
#
# Where the decoder comes from, first match wins:
#   -DMINIMP3_INCLUDE_DIR=DIR     a folder with the package's minimp3.h
#                                 (its SHA-256 is checked, before or after the
#                                 one-line fix below)
#   -DCOMM_MINIMP3_TARBALL=PATH   a local copy of the npm package tarball
#                                 (checked against the same SHA-256 as a fetch)
#   otherwise                     `npm pack minimp3@1.0.0` from the registry,
#                                 failing within 30 s with the two ways out
# The header is copied into the build tree with its stray C++ include
# replaced by <stdint.h>, which is what it needs.
#
# Sets MINIMP3_BUILD_DIR (the folder of the fixed header) and
# MINIMP3_IMPL_SOURCE (the one C file that holds the decoder), and makes the
# target comm_minimp3 that gives the header to the targets that link it.
set(MINIMP3_INCLUDE_DIR "" CACHE PATH "Folder with minimp3.h to use instead of fetching the npm package")
set(COMM_MINIMP3_TARBALL "" CACHE FILEPATH "Local minimp3-1.0.0.tgz (npm pack) to use instead of the registry")
set(MINIMP3_VERSION 1.0.0)
set(MINIMP3_SHA256 a70b94e01fe71d9db5d5d30d21b56a74ab21cd9c5262c5f7107cbe764b596c81)
set(MINIMP3_HEADER_SHA256 29af4551fa77fe4ed6b99762e734ab95a16f85f98384c728ba303c39050ade46)
set(MINIMP3_FIXED_HEADER_SHA256 4875a650677dc6807d8493a5a18312861585464793c678588d9e7487428b7b67)
set(MINIMP3_BUILD_DIR ${PROJECT_BINARY_DIR}/minimp3)
file(MAKE_DIRECTORY ${MINIMP3_BUILD_DIR})

set(minimp3_ways_out
    "Either pass -DCOMM_MINIMP3_TARBALL=PATH with a local copy of minimp3-${MINIMP3_VERSION}.tgz "
    "(sha256 ${MINIMP3_SHA256}), or -DMINIMP3_INCLUDE_DIR=DIR with a folder holding its minimp3.h.")

# Fails configure if FILE's SHA-256 is not one of the accepted ones.
function(minimp3_check_sha256 file what)
  file(SHA256 ${file} have)
  if(NOT have IN_LIST ARGN)
    list(JOIN ARGN " or " want)
    message(FATAL_ERROR "${what} ${file} has SHA-256 ${have}, expected ${want}. " ${minimp3_ways_out})
  endif()
endfunction()

# npm with no retries and a bounded wait: an offline machine learns so in
# seconds, not after npm's minute of retrying.
function(minimp3_fetch tarball)
  find_program(NPM_EXECUTABLE npm)
  if(NOT NPM_EXECUTABLE)
    message(FATAL_ERROR "npm is needed to fetch minimp3@${MINIMP3_VERSION}. " ${minimp3_ways_out})
  endif()
  message(STATUS "Fetching minimp3@${MINIMP3_VERSION} with npm pack")
  execute_process(COMMAND ${NPM_EXECUTABLE} pack minimp3@${MINIMP3_VERSION} --loglevel=error
                          --fetch-retries=0 --fetch-timeout=15000
                  WORKING_DIRECTORY ${MINIMP3_BUILD_DIR} TIMEOUT 30
                  RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT EXISTS ${tarball})
    # npm's own one-line reason when it gave one, else how it ended.
    string(REGEX MATCH "(FetchError|npm error code)[^\n]*" reason "${err}")
    if(NOT reason)
      set(reason "npm ended with ${rc}")
    endif()
    message(FATAL_ERROR "Cannot fetch minimp3@${MINIMP3_VERSION} from the npm registry: ${reason}.\n"
                        ${minimp3_ways_out})
  endif()
endfunction()

if(MINIMP3_INCLUDE_DIR)
  set(minimp3_header ${MINIMP3_INCLUDE_DIR}/minimp3.h)
  if(NOT EXISTS ${minimp3_header})
    message(FATAL_ERROR "MINIMP3_INCLUDE_DIR=${MINIMP3_INCLUDE_DIR} has no minimp3.h")
  endif()
  minimp3_check_sha256(${minimp3_header} "MINIMP3_INCLUDE_DIR: the header"
                       ${MINIMP3_HEADER_SHA256} ${MINIMP3_FIXED_HEADER_SHA256})
else()
  set(minimp3_tarball ${MINIMP3_BUILD_DIR}/minimp3-${MINIMP3_VERSION}.tgz)
  if(EXISTS ${minimp3_tarball})
    file(SHA256 ${minimp3_tarball} have)
    if(NOT have STREQUAL MINIMP3_SHA256)
      file(REMOVE ${minimp3_tarball})
    endif()
  endif()
  if(COMM_MINIMP3_TARBALL)
    if(NOT EXISTS ${COMM_MINIMP3_TARBALL})
      message(FATAL_ERROR "COMM_MINIMP3_TARBALL=${COMM_MINIMP3_TARBALL} does not exist")
    endif()
    minimp3_check_sha256(${COMM_MINIMP3_TARBALL} "COMM_MINIMP3_TARBALL:" ${MINIMP3_SHA256})
    file(COPY_FILE ${COMM_MINIMP3_TARBALL} ${minimp3_tarball} ONLY_IF_DIFFERENT)
  elseif(NOT EXISTS ${minimp3_tarball})
    minimp3_fetch(${minimp3_tarball})
  endif()
  file(SHA256 ${minimp3_tarball} have)
  if(NOT have STREQUAL MINIMP3_SHA256)
    file(REMOVE ${minimp3_tarball})
    message(FATAL_ERROR "The fetched minimp3 tarball has SHA-256 ${have}, expected ${MINIMP3_SHA256}. "
                        ${minimp3_ways_out})
  endif()
  file(ARCHIVE_EXTRACT INPUT ${minimp3_tarball} DESTINATION ${MINIMP3_BUILD_DIR}/unpacked
       PATTERNS package/lib/minimp3.h)
  set(minimp3_header ${MINIMP3_BUILD_DIR}/unpacked/package/lib/minimp3.h)
endif()

file(READ ${minimp3_header} minimp3_text)
string(REPLACE "#include <iostream>" "#include <stdint.h>" minimp3_text "${minimp3_text}")
file(CONFIGURE OUTPUT ${MINIMP3_BUILD_DIR}/minimp3.h CONTENT "${minimp3_text}" @ONLY)

# The decoder's own unit: its two entry points get default visibility (the
# library exports them), everything else of it stays hidden or static. The
# frame decoder itself is built under a hidden name: the exported
# mp3dec_decode_frame (media/decode_stack.cpp) first checks the room left on
# the caller's stack, then calls it.
set(MINIMP3_IMPL_SOURCE ${MINIMP3_BUILD_DIR}/minimp3_impl.c)
file(CONFIGURE OUTPUT ${MINIMP3_IMPL_SOURCE} CONTENT [=[
#pragma GCC visibility push(default)
#include "minimp3.h"
#pragma GCC visibility pop
int comm_minimp3_decode_frame(mp3dec_t *dec, const uint8_t *mp3, int mp3_bytes, mp3d_sample_t *pcm,
                              mp3dec_frame_info_t *info);
#define mp3dec_decode_frame comm_minimp3_decode_frame
#define MINIMP3_IMPLEMENTATION
#include "minimp3.h"
]=])
set_source_files_properties(${MINIMP3_IMPL_SOURCE} PROPERTIES COMPILE_OPTIONS "-w")
add_library(comm_minimp3 INTERFACE)
target_include_directories(comm_minimp3 SYSTEM INTERFACE ${MINIMP3_BUILD_DIR})
