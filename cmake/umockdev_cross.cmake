# SPDX-License-Identifier: MIT
# umockdev for the armhf cross build, so that the board tests run there too.
#
# Debian's armhf umockdev packages replace the amd64 ones when installed, so
# they are unpacked into a private folder of the build tree instead
# (scripts/armhf-umockdev-sysroot.sh; the .deb files are kept beside it for
# the next fresh configure). This module gives the same target as the PC's
# pkg-config lookup, PkgConfig::UMOCKDEV, made from that folder, and
# COMM_UMOCKDEV_RUN: the command prefix that runs an armhf test program
# under qemu-arm with the armhf preload library loaded.
set(COMM_UMOCKDEV_SYSROOT ${PROJECT_BINARY_DIR}/umockdev-armhf/root)
set(COMM_UMOCKDEV_DEBS ${PROJECT_BINARY_DIR}/umockdev-armhf/debs)
set(COMM_CROSS_ROOT /usr/arm-linux-gnueabihf)

set(script ${PROJECT_SOURCE_DIR}/scripts/armhf-umockdev-sysroot.sh)
if(NOT EXISTS ${COMM_UMOCKDEV_SYSROOT}/packages.txt OR ${script} IS_NEWER_THAN ${COMM_UMOCKDEV_SYSROOT}/packages.txt)
  message(STATUS "Unpacking umockdev for armhf into ${COMM_UMOCKDEV_SYSROOT}")
  execute_process(COMMAND bash ${script} ${COMM_UMOCKDEV_SYSROOT} ${COMM_UMOCKDEV_DEBS} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "umockdev for armhf could not be unpacked (see above); -DCOMM_WITH_UMOCKDEV=OFF builds without the board tests")
  endif()
endif()

set(lib ${COMM_UMOCKDEV_SYSROOT}/usr/lib/arm-linux-gnueabihf)
# Older packages still put some libraries in /lib.
set(COMM_UMOCKDEV_LIBPATH ${lib}:${COMM_UMOCKDEV_SYSROOT}/lib/arm-linux-gnueabihf)

add_library(PkgConfig::UMOCKDEV INTERFACE IMPORTED)
target_include_directories(PkgConfig::UMOCKDEV INTERFACE
  ${COMM_UMOCKDEV_SYSROOT}/usr/include/umockdev-1.0
  ${COMM_UMOCKDEV_SYSROOT}/usr/include/glib-2.0
  ${lib}/glib-2.0/include)
target_link_libraries(PkgConfig::UMOCKDEV INTERFACE
  ${lib}/libumockdev.so.0 ${lib}/libgobject-2.0.so.0 ${lib}/libglib-2.0.so.0)
# The linker looks for the libraries those need in the same folder.
target_link_options(PkgConfig::UMOCKDEV INTERFACE -Wl,-rpath-link,${COMM_UMOCKDEV_LIBPATH})

# Without binfmt the program is started through qemu-arm by hand. The preload
# is named without a folder: the armhf program finds the armhf one on its
# library path, and the PC programs it starts (sh and the test's stub
# scripts) load the PC's own, so their writes land in the testbed as well.
# qemu-arm itself must not be preloaded.
set(COMM_UMOCKDEV_RUN
  env -u LD_PRELOAD qemu-arm -L ${COMM_CROSS_ROOT}
  -E LD_PRELOAD=libumockdev-preload.so.0
  -E LD_LIBRARY_PATH=${COMM_UMOCKDEV_LIBPATH})
