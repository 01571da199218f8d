# SPDX-License-Identifier: MIT
# Date and time on the simulated board: the board keeps a clock and a
# hardware clock of its own in the state folder; the PC's clock is never set.
say "commctl date (the board's clock, zone and time-set flag)"
sim "$bin/tools/commctl" --level 0 date

say "commctl date set 2030-06-15 03:04:05, then the board's hwclock"
sim "$bin/tools/commctl" --level 4 date set 2030-06-15 03:04:05
sim hwclock --show
echo "the PC's clock is untouched: $(date -u '+%Y-%m-%d %H:%M:%S')"

say "commctl date zone GMT+09:00 (the clock moves with the zone)"
sim "$bin/tools/commctl" --level 0 date zone GMT+09:00
sim "$bin/tools/commctl" --level 0 date zone GMT+08:00 >/dev/null

say "commctl run uname -s"
sim "$bin/tools/commctl" run uname -s

# Back to the PC's time, so that the other steps' log lines read naturally.
sim "$bin/tools/commctl" --level 0 date set "$(date -u +%F)" "$(date -u +%T)" >/dev/null
