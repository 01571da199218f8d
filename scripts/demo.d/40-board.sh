# SPDX-License-Identifier: MIT
# Sourced by scripts/run-demo.sh: the PMU, temperatures and the SD card of
# the simulated board. $bin, $state, sim and say come from run-demo.sh.

say "commctl pmu (the PMU driver model; readings in $state/board/pmu.conf)"
sim "$bin/tools/commctl" --level 3 pmu

say "commctl pmu set-charge 800 (recorded in $state/board/pmu.log)"
sim "$bin/tools/commctl" pmu set-charge 800
tail -n 1 "$state/board/pmu.log"

say "commctl temp"
sim "$bin/tools/commctl" --level 0 temp

say "commctl temp with ft=TEMP on the kernel command line (boardsim --temp-test=1)"
"$bin/sim/boardsim" --state "$state" --temp-test=1 -- "$bin/tools/commctl" --level 0 temp

say "commctl sd"
sim "$bin/tools/commctl" --level 3 sd

say "commctl sd with only the card's whole disk listed (boardsim --sd=disk)"
"$bin/sim/boardsim" --state "$state" --sd=disk -- "$bin/tools/commctl" --level 0 sd
