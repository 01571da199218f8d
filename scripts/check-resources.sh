#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Stack, heap, blocking and size of every exported name on armhf: builds the
# library alone for armhf with -fstack-usage -fcallgraph-info=su (in
# build/armhf-resources), regenerates the table and compares it with the
# committed docs/resources.md. Fails when a stack figure or the library's
# text grows by more than 5 %, or a call other than Zev_Mp3Decode needs more
# than 8 KiB of stack.
#
#   bash scripts/check-resources.sh            # check
#   bash scripts/check-resources.sh --update   # rewrite docs/resources.md
set -euo pipefail
cd "$(dirname "$0")/.."

table=docs/resources.md
refresh="bash scripts/check-resources.sh --update"
for tool in arm-linux-gnueabihf-g++ arm-linux-gnueabihf-size python3 c++filt; do
  if ! command -v "$tool" >/dev/null 2>&1; then
    echo "resources: skipped, $tool is missing (scripts/install-deps.sh installs the armhf toolchain and python3)"
    exit 0
  fi
done

build=build/armhf-resources
flags="-fstack-usage -fcallgraph-info=su"
cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchain-armhf.cmake" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCOMM_BUILD_TESTS=OFF -DCOMM_BUILD_TOOLS=OFF -DCOMM_WITH_UMOCKDEV=OFF \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$build" --target comm -j "${JOBS:-2}" >/dev/null

if [ "${1:-}" = "--update" ]; then
  python3 scripts/resources.py "$build" "$table"
  echo "resources: $table rewritten"
  exit 0
fi
fresh="$build/resources.md"
if [ ! -f "$table" ]; then
  echo "resources: no $table yet; make it with: $refresh"
  exit 1
fi
if ! python3 scripts/resources.py "$build" "$fresh" --check "$table"; then
  echo "resources: FAILED (fresh table: $fresh); if the growth is meant, refresh with: $refresh"
  exit 1
fi
echo "resources: every stack figure and the library text within 5 % of $table"
