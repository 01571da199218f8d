#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the fuzz preset (clang; the library instrumented too) and runs every
# libFuzzer target for SECONDS each (default 10), JOBS of them at a time
# (default 1), on a fresh copy of its seed corpus (fuzz/corpus/TARGET) with
# its dictionary (fuzz/TARGET.dict) where it has one. Prints one line per
# target (runs, edges, crashes) and a total; fails when a target crashed or
# hung. A crashing input is kept in build/fuzz/crashes/ for the test that
# should come of it.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-10}
parallel=${2:-1}
bin=build/fuzz/fuzz
crashes_dir=build/fuzz/crashes

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc 2>/dev/null || echo 2)" >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$crashes_dir"

# Runs one target; its output goes to TARGET.log, its exit status to TARGET.rc.
run_target() {
  local target=$1 corpus="$work/$1" rc=0
  mkdir -p "$corpus"
  if [ -d "fuzz/corpus/$target" ]; then cp "fuzz/corpus/$target"/* "$corpus/"; fi
  local opts=(-max_total_time="$seconds" -timeout=10 -print_final_stats=1 -artifact_prefix="$crashes_dir/$target-")
  if [ -f "fuzz/$target.dict" ]; then opts+=(-dict="fuzz/$target.dict"); fi
  "$bin/$target" "${opts[@]}" "$corpus" >"$work/$target.log" 2>&1 || rc=$?
  echo "$rc" >"$work/$target.rc"
}

targets=()
for source in fuzz/fuzz_*.cpp; do targets+=("$(basename "$source" .cpp)"); done
for target in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$parallel" ]; do wait -n || true; done
  run_target "$target" &
done
wait

total_runs=0
total_crashes=0
for target in "${targets[@]}"; do
  log="$work/$target.log"
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  edges=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
  crashes=0
  if [ "$(cat "$work/$target.rc")" -ne 0 ]; then
    crashes=1
    grep -E 'ERROR|SUMMARY|Test unit written' "$log" | head -n 5 >&2 || true
  fi
  total_runs=$((total_runs + ${runs:-0}))
  total_crashes=$((total_crashes + crashes))
  printf '%-14s runs %10s  edges %5s  crashes %d\n' "$target" "${runs:-0}" "${edges:-0}" "$crashes"
done
printf '%-14s runs %10s  %12s  crashes %d\n' "total" "$total_runs" "" "$total_crashes"
[ "$total_crashes" -eq 0 ]
