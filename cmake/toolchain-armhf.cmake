# SPDX-License-Identifier: MIT
# Cross build for the camera's 32-bit ARM Linux with Debian's toolchain.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# A sysroot given with -DCMAKE_FIND_ROOT_PATH=DIR is searched before the
# toolchain's own folder.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# pkg-config answers for the target: Debian's armhf packages unless the
# caller points it somewhere else (PKG_CONFIG_LIBDIR, PKG_CONFIG_SYSROOT_DIR).
if(NOT DEFINED ENV{PKG_CONFIG_LIBDIR})
  set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)
endif()
# Tests run under user-mode emulation with the target's own C library.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
