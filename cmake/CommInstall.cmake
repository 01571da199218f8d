# SPDX-License-Identifier: MIT
# What `cmake --install` puts into the prefix, split into the components the
# packages are made of:
#   runtime  libcomm.so.1 and the settings stand-in libzev_settings.so.1
#   dev      headers, the unversioned links, the CMake package, libcomm.pc
#   tools    commctl and its man page (added by tools/)
include(CMakePackageConfigHelpers)

set(COMM_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/comm CACHE STRING
    "Where comm-config.cmake goes, relative to the prefix")
set(COMM_INSTALL_HEADERDIR ${CMAKE_INSTALL_INCLUDEDIR}/libcomm)

# The version macros; the exported names stay exactly the interface's.
configure_file(${CMAKE_CURRENT_LIST_DIR}/comm_version.h.in ${COMM_GENERATED_INCLUDE}/comm_version.h @ONLY)

# Installed, both libraries' headers are in the one folder.
target_include_directories(comm PUBLIC $<INSTALL_INTERFACE:${COMM_INSTALL_HEADERDIR}>)
target_include_directories(zev_settings PUBLIC $<INSTALL_INTERFACE:${COMM_INSTALL_HEADERDIR}>)
install(TARGETS comm zev_settings EXPORT comm-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ ${COMM_GENERATED_INCLUDE}/
        DESTINATION ${COMM_INSTALL_HEADERDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/settings/zev_settings.h DESTINATION ${COMM_INSTALL_HEADERDIR} COMPONENT dev)

install(EXPORT comm-targets NAMESPACE comm:: FILE comm-targets.cmake
        DESTINATION ${COMM_INSTALL_CMAKEDIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/comm-config.cmake.in
  ${PROJECT_BINARY_DIR}/comm-config.cmake INSTALL_DESTINATION ${COMM_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/comm-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/comm-config.cmake ${PROJECT_BINARY_DIR}/comm-config-version.cmake
        DESTINATION ${COMM_INSTALL_CMAKEDIR} COMPONENT dev)

# pkg-config: written at install time, so that the prefix is the one given
# to `cmake --install --prefix` (or the package's /usr), not the configured one.
install(CODE "set(PROJECT_VERSION ${PROJECT_VERSION})
  set(CMAKE_INSTALL_LIBDIR ${CMAKE_INSTALL_LIBDIR})
  set(CMAKE_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/libcomm.pc.in ${PROJECT_BINARY_DIR}/libcomm.pc @ONLY)"
  COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/libcomm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
