# SPDX-License-Identifier: MIT
# What the real kernel answers where the library meets it: the errno texts
# and attribute texts of GPIO, the MTD and mtdblock behaviour, the RTC, the
# SD card and the PMU node. One "@@ pass|fail NAME" line per row.
. /lab/lib.sh
G=/sys/class/gpio

# attr_write PATH TEXT: "ok", or the shell's error text for the write.
attr_write() {
  err=$(printf "$2" | dd of="$1" bs=64 2>&1 | grep 'error writing')
  [ -z "$err" ] && echo ok || echo "${err##*: }"
}

chip=$(for c in $G/gpiochip*; do [ "$(cat $c/label)" = testboard ] && echo "$(cat $c/base) $(cat $c/ngpio)"; done)
check gpio-chip-base "0 64" "$chip"
check gpio-export "ok" "$(attr_write $G/export '40\n')"
check gpio-export-twice "Device or resource busy" "$(attr_write $G/export '40\n')"
check gpio-export-no-line "Invalid argument" "$(attr_write $G/export '64\n')"
check gpio-export-nul-ended "ok" "$(attr_write $G/export '41\0\0')"
check gpio-direction-first "in" "$(cat $G/gpio40/direction)"
check gpio-value-to-input "Operation not permitted" "$(attr_write $G/gpio40/value '1\n')"
check gpio-direction-bogus "Invalid argument" "$(attr_write $G/gpio40/direction 'bogus\n')"
check gpio-direction-high "1" "$(printf 'high\n' > $G/gpio40/direction; cat $G/gpio40/value)"
check gpio-value-nul-ended "0" "$(printf '0\0\0\0' > $G/gpio40/value; cat $G/gpio40/value)"
check gpio-unexport "ok no" "$(attr_write $G/unexport '40\n') $([ -e $G/gpio40 ] && echo yes || echo no)"
check gpio-unexport-twice "Invalid argument" "$(attr_write $G/unexport '40\n')"
printf '41\n' > $G/unexport

mtd_names=$(sed -n 's/^mtd[0-9]*: [0-9a-f]* [0-9a-f]* "\(.*\)"$/\1/p' /proc/mtd | tr '\n' ' ')
check mtd-names "BOOT ENV KEY_CUST1 KEY_CUST SETTINGS KERNEL " "$mtd_names"
check mtd-type-erasesize "nor 4096 65536" "$(cat /sys/class/mtd/mtd2/type) $(cat /sys/class/mtd/mtd2/erasesize) $(cat /sys/class/mtd/mtd0/erasesize)"

# The KERNEL partition (mtd5, 64 KiB erase blocks), which nothing else uses.
# mtdblock rewrites the whole erase block around a short write.
head -c 4096 /dev/urandom > /tmp/block
dd if=/tmp/block of=/dev/mtdblock5 bs=4096 seek=16 conv=fsync 2>/dev/null
printf 'middle' | dd of=/dev/mtdblock5 bs=1 seek=67440 conv=notrunc,fsync 2>/dev/null
{ head -c 1904 /tmp/block; printf 'middle'; tail -c 2186 /tmp/block; } > /tmp/want
check mtdblock-rmw "same" "$(dd if=/dev/mtd5 bs=4096 skip=16 count=1 2>/dev/null | cmp -s - /tmp/want && echo same || echo differs)"
check mtd-write-past-end "No space left on device" \
  "$(dd if=/dev/zero of=/dev/mtdblock5 bs=4096 seek=256 count=1 2>&1 | sed -n 's/.*: \(No space.*\)$/\1/p' | head -1)"

# NOR programming without an erase only clears bits.
printf '\360' | dd of=/dev/mtdblock5 bs=1 seek=200000 conv=notrunc,fsync 2>/dev/null
printf '\017' | dd of=/dev/mtd5 bs=1 seek=200000 2>/dev/null
check mtd-nor-clears-only "00" "$(dd if=/dev/mtd5 bs=1 skip=200000 count=1 2>/dev/null | hexdump -e '1/1 "%02x"')"

# Write-through: the flash disk holds what mtdblock wrote, at the partition's offset.
off=$(( $(cat /sys/class/mtd/mtd5/offset) + 67440 ))
check flash-write-through "middle" "$(dd if=/dev/vda bs=1 skip=$off count=6 2>/dev/null)"

check rtc-name "rtc-pl031" "$(cut -d' ' -f1 /sys/class/rtc/rtc0/name)"
date -u -s "2031-02-03 04:05:06" >/dev/null; hwclock -w -u
date -u -s "2000-01-01 00:00:00" >/dev/null; hwclock -s -u
check rtc-round-trip "2031-02-03" "$(date -u +%F)"

check sd-partition "15519744 mmcblk0p1" "$(awk '$4 == "mmcblk0p1" { print $3, $4 }' /proc/partitions)"
check cmdline-no-test-word "no" "$(grep -qw ft=TEMP /proc/cmdline && echo yes || echo no)"
major=$((0x$(stat -c %t /dev/ip_6303)))
check pmu-node "character special file misc" \
  "$(stat -c %F /dev/ip_6303) $(sed '/^Block/q' /proc/devices | awk -v m=$major '$1 == m { print $2 }')"
check cpu-temp-attr "Temperature 52" "$(cat /sys/devices/virtual/mstar/msys/TEMP_R)"
T=/sys/class/i2c-dev/i2c-4/device/4-005d/drv_irq
check touch-attr "1 0 Invalid argument" "$(cat $T) $(printf 0 > $T; cat $T) $(attr_write $T 'x')"
