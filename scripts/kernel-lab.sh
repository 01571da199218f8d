#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The kernel lab: the armhf library and commctl on Debian's armmp kernel, on
# qemu's emulated ARM board, with the test-board module (lab/testboard) for
# the board's flash, GPIO, PMU and temperature.
#
#   bash scripts/kernel-lab.sh
#
# Boots the board 2 + LAB_CUTS times from one initramfs:
#   main   the kernel's answers (lab/guest/kernel-checks.sh), then part A of
#          the commctl conversation (lab/conversation.sh), then a fresh
#          identity record
#   cut    checks the record, updates it without end, and is killed at a
#          random moment: the flash image on the host keeps what reached it
#   final  the last record check and part B of the conversation, with
#          "ft=TEMP" on the kernel command line
# The same conversation runs on boardsim; every step must print the same.
# Ends with "kernel lab: N passed, M failed"; the status is 0 when M is 0.
#
# Settings: LAB_CUTS (30), LAB_BOOT_LIMIT (seconds one boot may take, 300),
# LAB_DIR (build/lab). Packages come from apt (install-deps.sh installs the
# tools; the kernel, its headers and busybox are downloaded into
# LAB_DIR/debs and unpacked there, never installed).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$PWD
. scripts/lib/debs.sh
LAB=${LAB_DIR:-$SRC/build/lab}
CUTS=${LAB_CUTS:-30}
BOOT_LIMIT=${LAB_BOOT_LIMIT:-300}
RUN=$LAB/run
T0=$EPOCHREALTIME

die() {
  echo "kernel lab: $*" >&2
  exit 1
}
elapsed() { printf '%.1f' "$(bc <<<"$EPOCHREALTIME - $T0")"; }
note() { echo "kernel lab: [$(elapsed)s] $*"; }

# ---- tools and packages ----------------------------------------------------

for tool in qemu-system-arm:qemu-system-arm arm-linux-gnueabihf-gcc:gcc-arm-linux-gnueabihf \
  cpio:cpio depmod:kmod sfdisk:fdisk dpkg-deb:dpkg apt-get:apt bc:bc cmake:cmake ninja:ninja-build; do
  command -v "${tool%%:*}" >/dev/null || PATH=$PATH:/sbin:/usr/sbin command -v "${tool%%:*}" >/dev/null ||
    die "missing ${tool%%:*} (Debian package ${tool#*:}): run scripts/install-deps.sh"
done
export PATH=$PATH:/sbin:/usr/sbin

# The kernel that linux-image-armmp points at today, e.g. 6.1.0-50-armmp.
KV=$(apt-cache depends linux-image-armmp:armhf 2>/dev/null |
  sed -n 's/^ *Depends: linux-image-\([0-9][^:]*-armmp\)\(:armhf\)\{0,1\}$/\1/p' | head -1)
[ -n "$KV" ] || die "apt knows no linux-image-armmp:armhf (is armhf a dpkg architecture, and apt-get update done?)"
ABI=${KV%-armmp}
KBUILD=linux-kbuild-$(cut -d. -f1,2 <<<"$ABI")
DEBS=(linux-image-$KV:armhf linux-headers-$KV:armhf linux-headers-$ABI-common "$KBUILD" busybox-static:armhf)

mapfile -t missing < <(debs_missing "$LAB/debs" "${DEBS[@]}")
if [ ${#missing[@]} -gt 0 ]; then
  note "downloading ${missing[*]}"
  debs_fetch "$LAB/debs" "${missing[@]}" ||
    die "cannot download ${missing[*]} (kernel ABI $ABI; see $LAB/debs/download.log)"
fi

X=$LAB/x/$KV
if [ ! -f "$X/.unpacked" ]; then
  rm -rf "$X"
  debs_unpack "$LAB/debs" "$X" "${DEBS[@]}" || die "cannot unpack the kernel's packages"
  depmod -b "$X" "$KV"
  touch "$X/.unpacked"
fi
HEADERS=$X/usr/src/linux-headers-$KV
[ -f "$HEADERS/Makefile" ] && [ -d "$X/usr/src/linux-headers-$ABI-common" ] ||
  die "no kernel headers of ABI $ABI next to the kernel $KV"
[ -f "$X/boot/vmlinuz-$KV" ] || die "the kernel package has no /boot/vmlinuz-$KV"
# The headers' Makefile includes the common part by its installed path.
sed -i "s#^include /usr/src/#include $X/usr/src/#" "$HEADERS/Makefile"

# ---- builds ------------------------------------------------------------------

note "building the test-board module against $KV"
mkdir -p "$LAB/testboard"
cp "$SRC"/lab/testboard/{Kbuild,testboard.c} "$LAB/testboard/"
make -s -C "$HEADERS" M="$LAB/testboard" ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf- \
  COMM_SOURCE="$SRC" modules >"$LAB/testboard/build.log" 2>&1 ||
  die "the test-board module does not build against $KV (see $LAB/testboard/build.log)"

note "building the armhf library and commctl"
ARM=$LAB/arm
if [ ! -f "$ARM/build.ninja" ]; then
  cmake -S "$SRC" -B "$ARM" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$SRC/cmake/toolchain-armhf.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCOMM_BUILD_TESTS=OFF -DCOMM_WITH_UMOCKDEV=OFF -DCOMM_BUILD_TOOLS=ON \
    >"$LAB/arm-configure.log" 2>&1 || die "cannot configure the armhf build (see $LAB/arm-configure.log)"
fi
cmake --build "$ARM" --target comm zev_settings commctl >"$LAB/arm-build.log" 2>&1 ||
  die "the armhf build failed (see $LAB/arm-build.log)"

# boardsim's side: the dev build when there is one (the test command builds
# it first), else the release build; only boardsim and commctl are built.
note "building boardsim and commctl for this machine"
HOST=$SRC/build/dev
HOST_ENV=(ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0)
if [ ! -f "$HOST/build.ninja" ]; then
  HOST=$SRC/build/release
  HOST_ENV=()
  [ -f "$HOST/build.ninja" ] || cmake --preset release >"$LAB/host-configure.log" 2>&1 ||
    die "cannot configure the release build (see $LAB/host-configure.log)"
fi
cmake --build "$HOST" --target boardsim commctl >"$LAB/host-build.log" 2>&1 ||
  die "boardsim does not build in $HOST (see $LAB/host-build.log)"

# ---- initramfs and images ----------------------------------------------------

note "packing the initramfs"
rm -rf "$RUN" && mkdir -p "$RUN"
# Both boards hold the conversation as it stood when the lab began.
cp "$SRC/lab/conversation.sh" "$RUN/conversation.sh"
ROOT=$LAB/rootfs
KMODS=$X/lib/modules/$KV
rm -rf "$ROOT" && mkdir -p "$ROOT"/{bin,lib/modules/"$KV",lab,proc,sys,dev,tmp}
cp "$X/bin/busybox" "$ROOT/bin/"
for f in ld-linux-armhf.so.3 libc.so.6 libm.so.6 libstdc++.so.6 libgcc_s.so.1; do
  cp -L "/usr/arm-linux-gnueabihf/lib/$f" "$ROOT/lib/"
done
cp -L "$ARM/libcomm.so.1" "$ARM/settings/libzev_settings.so.1" "$ROOT/lib/"
cp "$ARM/tools/commctl" "$ROOT/bin/"
arm-linux-gnueabihf-strip "$ROOT"/lib/lib{comm,zev_settings}.so.1 "$ROOT/bin/commctl"
cp "$LAB/testboard/testboard.ko" "$ROOT/lib/modules/"
for m in virtio_mmio virtio_blk mtdblock sdhci-pci; do
  line=$(grep -E "/$m\.ko:" "$KMODS/modules.dep") || die "the kernel $KV has no module $m"
  for f in ${line%%:*} ${line#*:}; do install -D -m 644 "$KMODS/$f" "$ROOT/lib/modules/$KV/$f"; done
done
cp "$KMODS"/modules.{builtin,builtin.modinfo,order} "$ROOT/lib/modules/$KV/"
depmod -b "$ROOT" "$KV"
install -m 755 "$SRC/lab/guest/init" "$ROOT/init"
cp "$SRC"/lab/guest/{lib.sh,kernel-checks.sh,powercut.sh,set-reading} "$RUN/conversation.sh" "$ROOT/lab/"
(cd "$ROOT" && find . | cpio -o -H newc --quiet) >"$LAB/initrd.cpio"

# The flash, erased; the module checks that it is large enough.
head -c $((2 << 20)) /dev/zero | tr '\0' '\377' >"$RUN/flash.img"
# qemu's SD card is a power of two: 16 GiB, sparse, with a first partition
# of the size boardsim's card has.
truncate -s 16G "$RUN/sd.img"
printf 'label: dos\nstart=2048, size=31039488, type=c\n' | sfdisk -q "$RUN/sd.img" >/dev/null
printf 'lab->board 0123456789ab' >"$RUN/uart-feed.bin"
mkfifo "$RUN/uart.in" "$RUN/uart.out"

# ---- results -------------------------------------------------------------------

PASSED=0
FAILED=0
pass() {
  PASSED=$((PASSED + 1))
}
fail() {
  FAILED=$((FAILED + 1))
  echo "kernel lab: FAIL $*"
}
# Counts the guest's "@@ pass/fail" lines of a console log.
collect() {
  local line
  while IFS= read -r line; do
    case "$line" in
      "@@ pass "*) pass ;;
      "@@ fail "*) fail "$2: ${line#@@ fail }" ;;
      "@@ fatal"*) fail "$2: ${line#@@ }" ;;
    esac
  done < <(tr -d '\r' <"$1")
}

# ---- the board -----------------------------------------------------------------

# A guest never outlives the lab, whatever ends it.
GUEST_PID=""
stop_guest() { [ -z "$GUEST_PID" ] || kill -KILL "$GUEST_PID" 2>/dev/null || true; }
trap stop_guest EXIT
trap 'stop_guest; exit 130' INT TERM

# boot MODE LOG [KERNEL WORDS...]: runs the guest to its end, or to the cut
# in mode "cut", or to the time limit. 0 when the guest ended as planned.
boot() {
  local mode=$1 log=$2 words=${*:3}
  : >"$log"
  qemu-system-arm -M virt,highmem=off -cpu cortex-a15 -smp 1 -m 256 -display none -monitor none \
    -no-reboot -nic none -serial file:"$log" \
    -kernel "$X/boot/vmlinuz-$KV" -initrd "$LAB/initrd.cpio" \
    -append "console=ttyAMA0 rdinit=/init quiet loglevel=3 lab.mode=$mode $words" \
    -rtc base=2024-06-01T12:00:00 \
    -drive if=none,id=flash,file="$RUN/flash.img",format=raw -device virtio-blk-device,drive=flash \
    -device sdhci-pci -device sd-card,drive=card -drive if=none,id=card,file="$RUN/sd.img",format=raw \
    -device pci-serial,chardev=uart -chardev pipe,id=uart,path="$RUN/uart" \
    </dev/null >"$log.qemu" 2>&1 &
  GUEST_PID=$!
  local pid=$! start=$EPOCHREALTIME cut_at="" cutting_at="" fed=0 now
  while kill -0 "$pid" 2>/dev/null; do
    now=$EPOCHREALTIME
    if (($(bc <<<"$now - $start > $BOOT_LIMIT"))); then
      kill "$pid" 2>/dev/null
      wait "$pid" 2>/dev/null
      fail "the guest ($mode) did not finish within ${BOOT_LIMIT}s and was stopped (console: $log)"
      return 1
    fi
    if [ $fed = 0 ] && grep -q '^@@ uart-ready' "$log"; then
      cat "$RUN/uart-feed.bin" >"$RUN/uart.in"
      fed=1
    fi
    # The cut falls within the two updates after the first one, whose
    # length the first one shows (it varies with the machine's load).
    if [ "$mode" = cut ] && [ -z "$cut_at" ]; then
      if [ -z "$cutting_at" ] && grep -q '^@@ cutting' "$log"; then cutting_at=$now; fi
      if [ -n "$cutting_at" ] && grep -q '^@@ updated' "$log"; then
        cut_at=$(bc <<<"scale=3; $now + ($now - $cutting_at) * $((RANDOM % 2000)) / 1000")
      fi
    fi
    if [ -n "$cut_at" ] && (($(bc <<<"$now >= $cut_at"))); then
      kill -KILL "$pid"
      wait "$pid" 2>/dev/null
      return 0
    fi
    sleep 0.05
  done
  wait "$pid" || true
  grep -q '^@@ end' "$log" || { fail "the guest ($mode) stopped before its end (console: $log, $log.qemu)"; return 1; }
}

# ---- main boot -------------------------------------------------------------------

note "booting: kernel checks and conversation part A"
boot main "$RUN/main.log" && collect "$RUN/main.log" main
PMU_STATE=$(tr -d '\r' <"$RUN/main.log" | sed -n 's/^@@ pmu-state //p')
# What the guest wrote through mtdblock, found in the image at the
# partitions' offsets (SETTINGS at 0x60000 + its region's 8 KiB, KERNEL at
# 0x70000).
image_has() { [ "$(dd if="$RUN/flash.img" bs=1 skip=$(($1)) count=${#2} 2>/dev/null)" = "$2" ]; }
image_has 0x62000 kernel-lab:set: && pass || fail "the flash image on the host lacks the flash map write"
image_has 0x70000+67440 middle && pass || fail "the flash image on the host lacks the mtdblock write"

# ---- power cuts ------------------------------------------------------------------

# The last update the host saw complete before a cut; the next boot's
# record may be newer (the console lags) but never older.
last_seen() { tr -d '\r' <"$1" | sed -n 's/^@@ updated \([0-9]*\)$/\1/p' | tail -1; }
seen=$(last_seen "$RUN/main.log")
note "power cuts: $CUTS"
cuts_from=$EPOCHREALTIME
for i in $(seq 1 "$CUTS"); do
  log=$RUN/cut-$i.log
  boot cut "$log" $PMU_STATE || break
  collect "$log" "cut $i"
  top=$(tr -d '\r' <"$log" | sed -n 's/^@@ record \([0-9]*\)$/\1/p')
  if [ -n "$top" ] && [ "$top" -ge "${seen:-0}" ]; then pass; else
    fail "cut $i: the record went back to update ${top:-?}, the host saw update ${seen:-?} complete"
  fi
  grep -q '^@@ cutting' "$log" || fail "cut $i: the guest never started updating"
  seen=$(last_seen "$log")
  seen=${seen:-$top}
done

note "$CUTS power cuts took $(printf '%.0f' "$(bc <<<"$EPOCHREALTIME - $cuts_from")")s"

# ---- final boot ------------------------------------------------------------------

note "booting: last record check and conversation part B"
boot final "$RUN/final.log" ft=TEMP $PMU_STATE && collect "$RUN/final.log" final

# ---- boardsim --------------------------------------------------------------------

note "the same conversation on boardsim"
STATE=$RUN/boardsim
cat >"$RUN/set-reading" <<EOF
#!/bin/sh
# boardsim's readings live in its state folder and are read on each request.
case "\$1" in
  cpu_temp) printf 'Temperature %s\n' "\$2" >"$STATE/board/sys/devices/virtual/mstar/msys/TEMP_R" ;;
  *) sed -i "s/^\$1=.*/\$1=\$2/" "$STATE/board/pmu.conf" ;;
esac
EOF
chmod +x "$RUN/set-reading"
on_boardsim() { # PART [boardsim options]
  local part=$1
  shift
  mkdir -p "$RUN/tmp-$part"
  env "${HOST_ENV[@]}" "$HOST/sim/boardsim" --state "$STATE" "$@" -- env COMMCTL="$HOST/tools/commctl" \
    PMU_WRITES="$STATE/board/pmu.log" SET_READING="$RUN/set-reading" LAB_TMP="$RUN/tmp-$part" \
    sh -c 'UART=$BOARDSIM_UART exec sh "$0" "$1"' "$RUN/conversation.sh" "$part" 2>&1
}
on_boardsim A --reset --uart-feed="$RUN/uart-feed.bin" >"$RUN/boardsim-A.txt" || true
on_boardsim B --temp-test=1 >"$RUN/boardsim-B.txt" || true

# The guest's part, cut out of its console (whose line ends add a CR).
guest_part() { # LOG PART
  sed 's/\r$//' "$1" | sed -n "/^@@ conversation $2 begin/,/^@@ conversation $2 end/p" | sed '1d;$d' |
    grep -v '^@@ '
}
guest_part "$RUN/main.log" A >"$RUN/kernel-A.txt"
guest_part "$RUN/final.log" B >"$RUN/kernel-B.txt"

# Time fields change from run to run: the running time and clock of the log
# line, and the time of day.
# The kernel command line differs by nature; what the library makes of it
# shows in "test mode".
mask() {
  sed -E 's/\[[0-9]{6} [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{6}\.[0-9]\]/[yymmdd hh:mm:ss tttttt.t]/g
    s/[0-9]{2}:[0-9]{2}:[0-9]{2}/hh:mm:ss/g; s/(cmdline\[ft=TEMP\]: ).*/\1(command line)/' "$1"
}

# compare PART: one result per step of the conversation.
compare() {
  local part=$1 dir=$RUN/compare-$1
  rm -rf "$dir" && mkdir -p "$dir"/{boardsim,kernel}
  local side
  for side in boardsim kernel; do
    mask "$RUN/$side-$part.txt" | awk -v d="$dir/$side" '/^== /{n++} {print > (d "/" sprintf("%03d", n))}'
  done
  local steps
  steps=$(ls "$dir/boardsim" "$dir/kernel" | grep -E '^[0-9]+$' | sort -u)
  [ -n "$steps" ] || { fail "conversation $part: no output from either board"; return; }
  local s title
  for s in $steps; do
    touch "$dir/boardsim/$s" "$dir/kernel/$s" # a step one board never reached
    title=$(head -1 "$dir/boardsim/$s" 2>/dev/null || head -1 "$dir/kernel/$s")
    if cmp -s "$dir/boardsim/$s" "$dir/kernel/$s"; then pass; else
      fail "conversation $part, step ${title#== }: boardsim and the kernel differ:"
      diff "$dir/boardsim/$s" "$dir/kernel/$s" | sed 's/^/    /' | head -12 || true
    fi
  done
}
compare A
compare B

echo "kernel lab: $KV, $CUTS power cuts, $(elapsed)s"
echo "kernel lab: $PASSED passed, $FAILED failed"
[ "$FAILED" -eq 0 ]
