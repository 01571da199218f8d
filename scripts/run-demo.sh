#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The main job on a PC: builds the release tree, then runs the example
# application and a few commctl calls on the simulated board. The board's
# state folder (build/boardsim-state) is kept between runs.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc 2>/dev/null || echo 2)"

bin=build/release
state=build/boardsim-state
sim() { "$bin/sim/boardsim" --state "$state" -- "$@"; }
say() { printf '\n$ %s\n' "$*"; }

say "dashcam_demo (the example application)"
sim "$bin/examples/dashcam_demo"

say "commctl clock"
sim "$bin/tools/commctl" clock

say "commctl log-demo at level 7"
sim "$bin/tools/commctl" --level 7 log-demo

say "toggle GPIO 33 through commctl"
sim "$bin/tools/commctl" gpio export 33
sim "$bin/tools/commctl" gpio dir 33 out
before=$(sim "$bin/tools/commctl" gpio get 33)
if [ "$before" = 1 ]; then next=0; else next=1; fi
sim "$bin/tools/commctl" gpio set 33 "$next"
echo "gpio 33: $before -> $(sim "$bin/tools/commctl" gpio get 33) (run again: it toggles back, the board keeps its state)"

if [ -d scripts/demo.d ]; then
  for part in scripts/demo.d/*.sh; do
    [ -e "$part" ] || continue
    # shellcheck source=/dev/null
    . "$part"
  done
fi
