# SPDX-License-Identifier: MIT
# Flash and identity record: a record made on blank simulated flash, read
# back after a restart of the board, then a damaged copy repaired.
# Sourced by scripts/run-demo.sh ($bin, $state, sim, say). A board of its
# own, reset each run, so that the flash starts blank.
flash_state="$state-flash"
flash_sim() { "$bin/sim/boardsim" --state "$flash_state" "$@"; }
ctl="$bin/tools/commctl"

say "identity record on a blank flash (commctl sn show)"
flash_sim --reset -- "$ctl" --level 0 sn show

say "commctl sn set Sn DC-2024-000117; sn set --hex Did 0a0b0c0d"
flash_sim -- "$ctl" --level 0 sn set Sn DC-2024-000117
flash_sim -- "$ctl" --level 0 sn set --hex Did 0a0b0c0d

say "a new boardsim run (the board restarted): commctl sn get Sn"
flash_sim -- "$ctl" --level 0 sn get Sn

say "damage one byte of the backup copy in the flash image, then sn show"
printf 'X' | dd of="$flash_state/board/dev/mtdblock2" bs=1 seek=$((0x6000)) conv=notrunc status=none
# The start's own lines show the decision; the lookup lines are left out.
flash_sim -- "$ctl" --level 4 sn show | grep -v -E ' (Zev_Comm_|Zev_MtdMgr_|Zev_SnManager_CheckMd5|Zev_SnManager_GetData)[A-Za-z_]* [0-9]+ :' 
say "the backup copy after the start repaired it"
flash_sim -- "$ctl" --level 0 mtd read MTD_PART_SN_BACKUP 0 16

say "digests: commctl md5 and crc8 of the same nine digits"
printf 123456789 > "$flash_state/digits"
flash_sim -- "$ctl" md5 "$flash_state/digits"
flash_sim -- "$ctl" crc8 "$flash_state/digits"
