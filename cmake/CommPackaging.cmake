# SPDX-License-Identifier: MIT
# Debian packages from the install components, split the usual way for a
# shared library: `cpack` in a build folder writes them to packages/.
#   libcomm1       runtime: libcomm.so.1 and the settings stand-in
#   libcomm-dev    headers, unversioned links, CMake and pkg-config files
#   libcomm-tools  commctl (and its man page on native builds)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libcomm)
set(CPACK_PACKAGE_VENDOR "libcomm developers")
set(CPACK_PACKAGE_CONTACT "libcomm developers <libcomm@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)

set(CPACK_STRIP_FILES ON)  # with the toolchain's strip in a cross build
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

# The target's architecture, not the build machine's.
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

# Dependencies are written out rather than found with dpkg-shlibdeps, which
# cannot see a cross toolchain's libraries. The floors are those of the
# oldest toolchain we build with (glibc 2.34 merged libpthread into libc).
set(comm_libc_depends "libc6 (>= 2.34), libstdc++6 (>= 12), libgcc-s1")
set(comm_exact "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libcomm${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${comm_libc_depends}")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "common platform library of the dashboard camera\n libcomm.so.${PROJECT_VERSION_MAJOR} and the file-backed settings library stand-in.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libcomm-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libcomm${PROJECT_VERSION_MAJOR} ${comm_exact}")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "common platform library of the dashboard camera - development files\n Headers, the CMake package (find_package(comm)) and libcomm.pc.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME libcomm-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libcomm${PROJECT_VERSION_MAJOR} ${comm_exact}, ${comm_libc_depends}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
    "common platform library of the dashboard camera - tools\n commctl, the command line over the library.")

include(CPack)
