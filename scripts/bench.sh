#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The benchmarks (release build): time ratios against the peers, side by
# side in one run, then the instruction count of each hot path against the
# committed baseline. TZ is unset and log output goes to /dev/null, as on
# the camera.
#
#   bash scripts/bench.sh [--benchmark_repetitions=N ...]   # options go to every program
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release -j "${JOBS:-2}" >/dev/null
for exe in build/release/bench/bench_*; do
  [ -x "$exe" ] || continue
  printf '\n==== %s ====\n' "$(basename "$exe")"
  env -u TZ "$exe" --benchmark_color=false "$@"
done

printf '\n==== instruction counts ====\n'
bash scripts/check-counts.sh
