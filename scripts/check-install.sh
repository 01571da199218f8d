#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# What an integrator does with a build, checked end to end:
#   check-install.sh consumer BUILD [armhf]  install BUILD into a scratch root
#       (DESTDIR, prefix /usr) and build tests/consumer against it with
#       find_package, with pkg-config through CMake and on a bare compiler line,
#       then run it (under qemu-arm for armhf); add_subdirectory() of the
#       source tree is configured too (host only)
#   check-install.sh packages BUILD ARCH     cpack in BUILD, then the three
#       packages' names, architecture, dependencies and file lists
#   check-install.sh offline                 configure with the npm registry
#       unreachable: a clear error, then success with a local tarball
set -euo pipefail
cd "$(dirname "$0")/.."
src=$PWD
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }
version=$(sed -n 's/^project(libcomm VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
# MD5 of "abc", as the consumer prints it after the header version.
want="$version 900150983cd24fb0d6963f7d28e17f72"

consumer() {
  local build=$1 arch=${2:-host} root=$work/root
  DESTDIR=$root cmake --install "$build" --prefix /usr >/dev/null
  local triplet cmake_args=() run=() cc=cc
  if [ "$arch" = armhf ]; then
    triplet=arm-linux-gnueabihf
    cmake_args=(--toolchain "$src/cmake/toolchain-armhf.cmake" -DCMAKE_FIND_ROOT_PATH="$root")
    run=(qemu-arm -L /usr/$triplet -E "LD_LIBRARY_PATH=$root/usr/lib/$triplet")
    cc=$triplet-gcc
  else
    triplet=$(gcc -print-multiarch)
    cmake_args=(-DCMAKE_PREFIX_PATH="$root/usr")
    run=(env "LD_LIBRARY_PATH=$root/usr/lib/$triplet")
  fi
  export PKG_CONFIG_LIBDIR=$root/usr/lib/$triplet/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root
  for from in package pkg-config; do
    cmake -G Ninja -S tests/consumer -B "$work/$from" "${cmake_args[@]}" -DCOMM_FROM=$from >/dev/null
    cmake --build "$work/$from" >/dev/null
    got=$("${run[@]}" "$work/$from/consumer" abc) || fail "$arch consumer ($from) did not run"
    [ "$got" = "$want" ] || fail "$arch consumer ($from) printed '$got', not '$want'"
    echo "consumer ($arch, $from): $got"
  done
  # shellcheck disable=SC2046
  $cc -o "$work/bare" tests/consumer/main.c $(pkg-config --cflags --libs libcomm)
  got=$("${run[@]}" "$work/bare" abc) || fail "$arch bare pkg-config consumer did not run"
  [ "$got" = "$want" ] || fail "$arch bare consumer printed '$got'"
  echo "consumer ($arch, cc \$(pkg-config --cflags --libs libcomm)): $got"
  if [ "$arch" = host ]; then
    cmake -G Ninja -S tests/consumer -B "$work/source" -DCOMM_FROM=source -DCOMM_SOURCE_DIR="$src" \
      -DCOMM_MINIMP3_TARBALL="$(ls "$build"/minimp3/minimp3-*.tgz)" >/dev/null
    grep -q '^build libcomm/libcomm.so' "$work/source/build.ninja" || fail "add_subdirectory: no libcomm target"
    echo "consumer (add_subdirectory): configures"
  fi
}

# Package FILE's field NAME.
field() { dpkg-deb --field "$1" "$2"; }

packages() {
  local build=$1 arch=$2 triplet dir
  (cd "$build" && cpack >/dev/null)
  dir=$build/packages
  triplet=$([ "$arch" = armhf ] && echo arm-linux-gnueabihf || gcc -print-multiarch)
  local lib=./usr/lib/$triplet
  # package | files it must hold (one pattern a line) | dependency it must name
  local -a table=(
    "libcomm1|$lib/libcomm.so.1
$lib/libzev_settings.so.1|libc6"
    "libcomm-dev|$lib/libcomm.so
$lib/libzev_settings.so
./usr/include/libcomm/comm_log.h
./usr/include/libcomm/comm_version.h
./usr/include/libcomm/zev_settings.h
$lib/cmake/comm/comm-config.cmake
$lib/cmake/comm/comm-config-version.cmake
$lib/pkgconfig/libcomm.pc|libcomm1 (= $version)"
    "libcomm-tools|./usr/bin/commctl|libcomm1 (= $version)"
  )
  [ "$arch" = armhf ] || table[2]="${table[2]%%|*}|./usr/bin/commctl
./usr/share/man/man1/commctl.1|libcomm1 (= $version)"
  : >"$work/all"
  for row in "${table[@]}"; do
    IFS='|' read -r name files dep <<<"$row"
    local deb=$dir/${name}_${version}_$arch.deb
    [ -f "$deb" ] || fail "no $deb"
    [ "$(field "$deb" Package)" = "$name" ] || fail "$deb: package name"
    [ "$(field "$deb" Architecture)" = "$arch" ] || fail "$deb: architecture $(field "$deb" Architecture)"
    field "$deb" Depends | grep -qF "$dep" || fail "$deb: depends '$(field "$deb" Depends)' lacks '$dep'"
    dpkg-deb --contents "$deb" | awk '{print $6}' | grep -v '/$' >"$work/$name"
    while read -r f; do
      grep -qxF "$f" "$work/$name" || fail "$deb lacks $f"
    done <<<"$files"
    cat "$work/$name" >>"$work/all"
    echo "$name ($arch): $(wc -l <"$work/$name") files, depends $(field "$deb" Depends)"
  done
  # Headers only in -dev, the unversioned links only in -dev, nothing twice.
  ! grep -q '/include/' "$work/libcomm1" "$work/libcomm-tools" || fail "headers outside libcomm-dev"
  ! grep -q '\.so$' "$work/libcomm1" || fail "an unversioned link in libcomm1"
  [ -z "$(sort "$work/all" | uniq -d)" ] || fail "files in two packages: $(sort "$work/all" | uniq -d)"
}

offline() {
  local tarball
  tarball=$(ls build/*/minimp3/minimp3-*.tgz | head -1)
  local args=(-G Ninja -S . -B "$work/b" -DCOMM_BUILD_TESTS=OFF -DCOMM_BUILD_TOOLS=OFF -DCOMM_WITH_UMOCKDEV=OFF)
  export npm_config_registry=http://127.0.0.1:9/
  if cmake "${args[@]}" >"$work/log" 2>&1; then fail "configure without the registry succeeded"; fi
  # CMake wraps its messages: one line of words to search.
  local flat
  flat=$(tr -s '\n ' '  ' <"$work/log")
  for word in "Cannot fetch minimp3" COMM_MINIMP3_TARBALL MINIMP3_INCLUDE_DIR; do
    grep -qF "$word" <<<"$flat" || fail "the error does not name $word: $flat"
  done
  echo "offline, no tarball: $(grep -o 'Cannot fetch[^:]*: [^.]*' <<<"$flat" | head -1)"
  # A header that is not the package's is refused by its checksum.
  mkdir -p "$work/inc" && echo '#define MINIMP3_H' >"$work/inc/minimp3.h"
  if cmake "${args[@]}" -DMINIMP3_INCLUDE_DIR="$work/inc" >"$work/log" 2>&1; then fail "a foreign minimp3.h was taken"; fi
  grep -q "SHA-256" "$work/log" || fail "no checksum error for a foreign header"
  rm -rf "$work/b"
  cmake "${args[@]}" -DCOMM_MINIMP3_TARBALL="$tarball" >"$work/log" 2>&1 || fail "offline with a tarball: $(cat "$work/log")"
  [ -f "$work/b/minimp3/minimp3.h" ] || fail "no decoder header after an offline configure"
  echo "offline, local tarball: configured"
}

"$@"
