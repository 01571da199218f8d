#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Instruction counts of the hot paths (bench/count_paths.cpp, release build)
# under callgrind, against the committed bench/baseline.tsv. Fails when a
# count rises more than 3 % above its baseline. Counts are per repeat of the
# path, set-up excluded; they do not depend on the machine's load.
#
#   bash scripts/check-counts.sh            # check
#   bash scripts/check-counts.sh --update   # take this run as the baseline
set -euo pipefail
cd "$(dirname "$0")/.."

baseline=bench/baseline.tsv
refresh="bash scripts/check-counts.sh --update"
tolerance=3  # per cent

if ! command -v valgrind >/dev/null 2>&1; then
  echo "instruction counts: skipped, valgrind is not installed (apt-get install valgrind)"
  exit 0
fi
arch=$(uname -m)
if [ "${1:-}" != "--update" ] && [ -f "$baseline" ] && ! grep -q "^# arch $arch\$" "$baseline"; then
  echo "instruction counts: skipped, the baseline is not for $arch (refresh with: $refresh)"
  exit 0
fi

cmake --preset release >/dev/null
cmake --build --preset release --target count_paths -j "${JOBS:-2}" >/dev/null
exe=build/release/bench/count_paths
if [ ! -x "$exe" ]; then
  echo "instruction counts: skipped, count_paths was not built (valgrind/callgrind.h or lame missing)"
  exit 0
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# count NAME ARG [OPTIONS...]: one run of count_paths, dumps in $tmp/NAME.out.*
count() {
  local name=$1 arg=$2
  shift 2
  if ! env -u TZ "$@" valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$tmp/$name.out" \
      ${threads:-} "$exe" "$arg" >/dev/null 2>>"$tmp/log"; then
    cat "$tmp/log"
    echo "instruction counts: count_paths $arg failed under valgrind"
    exit 1
  fi
}
count paths "$tmp"
# The identity record's load reads its flash from a umockdev testbed, in a
# run of its own: the preload goes in front of valgrind, which passes it on.
# Only the measuring thread counts (dumps *-01): the testbed's own thread
# serves the simulation, not the load.
skip=""
if command -v umockdev-wrapper >/dev/null 2>&1; then
  threads=--separate-threads=yes count flash --flash umockdev-wrapper
else
  skip=identity_record_load
  echo "instruction counts: identity_record_load skipped, umockdev-wrapper is not installed"
fi

# name <TAB> instructions per repeat, from the repeats the program printed
# and the totals of the dump named after each path.
: >"$tmp/now"
for dump in "$tmp"/paths.out.* "$tmp"/flash.out.*-01; do
  [ -f "$dump" ] || continue
  awk -F'\t' -v dump="$dump" '
    FNR == NR { if (NF == 2 && $2 ~ /^[0-9]+$/) repeats[$1] = $2; next }
    /^desc: Trigger: Client Request: / { sub(/^desc: Trigger: Client Request: /, ""); name = $0 }
    /^(summary|totals): / { split($0, f, " "); total = f[2] }
    END { if (name in repeats) printf "%s\t%d\n", name, (total + repeats[name] / 2) / repeats[name] }
  ' "$tmp/log" "$dump" >>"$tmp/now"
done

if [ "${1:-}" = "--update" ]; then
  {
    echo "# Instructions per repeat of each hot path (scripts/check-counts.sh)."
    echo "# arch $arch"
    sort "$tmp/now"
  } >"$baseline"
  echo "instruction counts: baseline written to $baseline"
  cat "$tmp/now"
  exit 0
fi

if [ ! -f "$baseline" ]; then
  echo "instruction counts: no $baseline yet; make it with: $refresh"
  exit 1
fi

printf '%-20s %12s %12s  change\n' path baseline now
awk -F'\t' -v tol="$tolerance" -v refresh="$refresh" -v skip="$skip" '
  FNR == NR { if ($0 !~ /^#/ && $1 != skip) base[$1] = $2; next }
  {
    seen[$1] = 1
    if (!($1 in base)) { printf "%-20s %12s %12d  new path\n", $1, "-", $2; bad = 1; next }
    change = base[$1] ? 100.0 * ($2 - base[$1]) / base[$1] : 0
    flag = change > tol ? "  ROSE more than " tol " %" : ""
    if (change > tol) bad = 1
    printf "%-20s %12d %12d %+7.2f %%%s\n", $1, base[$1], $2, change, flag
  }
  END {
    for (n in base) if (!(n in seen)) { printf "%-20s missing from this run\n", n; bad = 1 }
    if (bad) { print "instruction counts: FAILED; if the change is meant, refresh the baseline with: " refresh; exit 1 }
    print "instruction counts: all within " tol " % of the baseline"
  }
' "$baseline" <(sort "$tmp/now")
