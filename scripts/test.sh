#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and runs every test: the dev build (AddressSanitizer and
# UndefinedBehaviorSanitizer, board tests on umockdev), the ThreadSanitizer
# build for the threaded tests, the release build as an integrator uses it
# (install, consumer project, packages, an offline configure), the armhf
# cross build under qemu-arm with its consumer and packages (its board tests
# with umockdev for armhf, which configuring that build unpacks into
# build/armhf/umockdev-armhf), the kernel lab, every fuzz target for a few
# seconds with the library instrumented, and last the formatting check.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)

step() { printf '\n==== %s ====\n' "$*"; }

step "dev: build (ASan+UBSan)"
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$jobs"
step "dev: test"
ctest --preset dev

step "release: instruction counts of the hot paths (callgrind)"
bash scripts/check-counts.sh

step "armhf: stack, heap and size of every exported name"
bash scripts/check-resources.sh

step "tsan: build"
cmake --preset tsan >/dev/null
cmake --build --preset tsan -j "$jobs"
step "tsan: threaded tests"
if ctest --preset tsan -N | grep -q 'Total Tests: 0'; then
  echo "no threaded tests yet"
else
  ctest --preset tsan
fi

step "release: library and commctl"
cmake --preset release >/dev/null
release_targets=(comm zev_settings commctl)
grep -q '^build commctl_man:' build/release/build.ninja && release_targets+=(commctl_man)
cmake --build --preset release -j "$jobs" --target "${release_targets[@]}"
step "release: consumer project on the installed library (find_package, pkg-config, add_subdirectory)"
bash scripts/check-install.sh consumer build/release
step "release: packages (amd64)"
bash scripts/check-install.sh packages build/release amd64
step "offline configure (registry unreachable, local tarball)"
bash scripts/check-install.sh offline
if command -v doxygen >/dev/null 2>&1; then
  step "release: API reference (doxygen, warnings are errors)"
  cmake --preset release >/dev/null
  cmake --build --preset release --target doc
fi

step "armhf: cross build"
cmake --preset armhf >/dev/null
cmake --build --preset armhf -j "$jobs"
step "armhf: tests under qemu-arm"
ctest --preset armhf
step "armhf: consumer project under qemu-arm, packages (armhf)"
bash scripts/check-install.sh consumer build/armhf armhf
bash scripts/check-install.sh packages build/armhf armhf

step "kernel lab: the armhf library on Debian's armmp kernel under qemu"
bash scripts/kernel-lab.sh

step "fuzz: every target for 5 s, two at a time (clang, the library instrumented)"
bash scripts/fuzz.sh 5 2

step "format: every C and C++ file as .clang-format makes it"
bash scripts/check-format.sh
