# SPDX-License-Identifier: MIT
# `doc`: the API reference from the public headers with doxygen, when it is
# installed. The Doxyfile in the source root holds the settings (warnings
# fail the build); this adds the version and the generated header.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(comm_doxyfile ${PROJECT_BINARY_DIR}/doc/Doxyfile)
  file(CONFIGURE OUTPUT ${comm_doxyfile} CONTENT [=[
@INCLUDE         = @PROJECT_SOURCE_DIR@/Doxyfile
PROJECT_NUMBER   = @PROJECT_VERSION@
OUTPUT_DIRECTORY = @PROJECT_BINARY_DIR@/doc
INPUT           += @COMM_GENERATED_INCLUDE@/comm_version.h
]=] @ONLY)
  add_custom_target(doc
    COMMAND Doxygen::doxygen ${comm_doxyfile}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "Writing the API reference to ${PROJECT_BINARY_DIR}/doc/html"
    VERBATIM)
endif()
