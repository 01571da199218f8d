#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the Debian packages the build, the tests, the simulated board and
# the benchmarks need. Safe to run again: apt-get skips what is there.
set -euo pipefail

PACKAGES=(
  cmake ninja-build g++ clang pkg-config git
  libgtest-dev libgmock-dev libbenchmark-dev
  umockdev libumockdev-dev
  g++-arm-linux-gnueabihf qemu-user
  libssl-dev libmpg123-dev lame
  util-linux procps dos2unix valgrind
  help2man python3 clang-format-14
  qemu-system-arm cpio kmod fdisk bc
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
# npm fetches the MP3 frame decoder; machines that already have a Node.js
# of their own keep it.
command -v npm >/dev/null 2>&1 || missing+=(npm)
# The kernel lab downloads armhf packages (the kernel, busybox) with apt, and
# the armhf build unpacks umockdev's armhf packages into its build tree
# (scripts/armhf-umockdev-sysroot.sh; they are never installed): apt needs
# the armhf architecture and its package lists.
armhf_known=1
dpkg --print-foreign-architectures | grep -qx armhf || armhf_known=0
armhf_listed=1
apt-cache show umockdev:armhf >/dev/null 2>&1 || armhf_listed=0
[ ${#missing[@]} -eq 0 ] && [ $armhf_known = 1 ] && [ $armhf_listed = 1 ] && exit 0

SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
[ $armhf_known = 1 ] || $SUDO dpkg --add-architecture armhf
$SUDO apt-get update -qq
[ ${#missing[@]} -eq 0 ] && exit 0
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
