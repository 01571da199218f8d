# SPDX-License-Identifier: MIT
# One conversation with the board through commctl, the same on boardsim and
# on the real kernel: scripts/kernel-lab.sh runs it on both and compares
# what it prints, step by step, with the time fields masked.
#
#   sh conversation.sh A|B
#
# Part A runs on a fresh board; part B after a reboot, with "ft=TEMP" on the
# kernel command line. The board provides:
#   COMMCTL      the commctl to run
#   UART         the serial device whose far end sends uart-feed.bin once
#                the line is set up
#   PMU_WRITES   the file that lists the PMU writes, "name value" a line
#   SET_READING  a command "SET_READING NAME VALUE" that changes one of the
#                board's readings (voltage, cpu_temp)
#   LAB_TMP      a scratch folder
# Every step starts with a "== " line, so the comparison can name it.
set -u

# The step's title names the board's own paths by their variables.
step() {
  echo "== $*" | sed "s#$LAB_TMP#\$LAB_TMP#g; s#$UART#\$UART#g"
  "$COMMCTL" "$@"
  echo "-> exit $?"
}

show() {
  echo "== cat $1"
  cat "$2"
}

part_a() {
  show /proc/mtd /proc/mtd
  step gpio get 5
  step gpio export 33
  step gpio export 33
  step gpio get 33
  step gpio set 33 1
  step gpio get 33
  step gpio dir 33 out
  step gpio set 33 1
  step gpio get 33
  step gpio dir 33 low
  step gpio get 33
  step gpio dir 33 in
  step gpio unexport 33
  step gpio get 33
  step gpio export 1000
  step gpio export 64
  step gpio dir 64 out
  step gpio get 64
  step gpio unexport 64
  step gpio dir 34 high
  step gpio export 34
  step gpio dir 34 high
  step gpio get 34
  step gpio unexport 34
  step gpio export 34
  show gpio34/direction /sys/class/gpio/gpio34/direction
  step gpio get 34
  step gpio dir 34 in
  step gpio unexport 34
  step usb off
  step gpio get 33
  step usb on
  step gpio get 33

  printf 'kernel-lab:set:%s' 0123456789abcdef > "$LAB_TMP/data.bin"
  step mtd write MTD_PART_SETTINGS 0 "$LAB_TMP/data.bin"
  step mtd read MTD_PART_SETTINGS 0 32
  step mtd write MTD_PART_SETTINGS 0xdfe0 "$LAB_TMP/data.bin"
  step mtd read MTD_PART_SETTINGS 0xdff0 16
  step mtd write MTD_PART_SETTINGS 0xdff8 "$LAB_TMP/data.bin"
  step mtd read MTD_PART_SETTINGS 0xdff8 16
  step mtd read MTD_PART_FACTORY 0 16
  step mtd read MTD_PART_END 0 16
  step mtd read NOPE 0 16

  step sn show
  step sn set Sn LAB-0001
  step sn set --hex Did 00ff10
  step sn set Plain1 ''
  step sn get Sn
  step sn get Did --hex
  step sn show
  step sn erase Did
  step sn get Did
  step mtd read MTD_PART_SN_BACKUP 0 48

  step sd
  step temp
  step touch ignore
  step touch accept
  step pmu
  step pmu set-charge 300
  step pmu cap
  step pmu timeout 30
  step pmu power-off 5
  step pmu
  show pmu-writes "$PMU_WRITES"

  step date set --system-clock 2031-02-03 04:05:06
  step date from-rtc --system-clock

  step uart recv "$UART" 115200 24 3000
}

part_b() {
  $SET_READING voltage 4012
  $SET_READING cpu_temp 61
  step temp
  step pmu
  step mtd read MTD_PART_SETTINGS 0 32
}

case "${1:-}" in
  A) part_a ;;
  B) part_b ;;
  *) echo "usage: conversation.sh A|B" >&2; exit 2 ;;
esac
