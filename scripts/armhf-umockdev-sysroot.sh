#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Unpacks umockdev for armhf, with the libraries it needs at run time and the
# headers the board tests compile against, into a private folder:
#
#   scripts/armhf-umockdev-sysroot.sh SYSROOT DEBCACHE
#
# The armhf umockdev packages cannot be installed beside the amd64 ones that
# the PC build uses, so they are fetched with `apt-get download` (kept in
# DEBCACHE for the next run) and unpacked with `dpkg-deb -x`; nothing is
# installed. The C library and libstdc++ come from the cross toolchain and
# are left out. The dependencies are resolved from the package lists, taking
# the first of each set of alternatives.
set -euo pipefail
. "$(dirname "$0")/lib/debs.sh"

if [ $# -ne 2 ]; then
  echo "usage: $0 SYSROOT DEBCACHE" >&2
  exit 2
fi
sysroot=$1
cache=$2
arch=armhf

fail() {
  echo "armhf umockdev sysroot: $*" >&2
  exit 1
}

command -v apt-get >/dev/null && command -v dpkg-deb >/dev/null || fail "needs apt-get and dpkg-deb (a Debian system)"
dpkg --print-foreign-architectures | grep -qx "$arch" ||
  fail "the dpkg architecture $arch is not added; run scripts/install-deps.sh"

# Run-time closure of the preload library and libumockdev, plus the headers.
roots=(umockdev libumockdev0)
headers_only=(libumockdev-dev libglib2.0-dev)
# Provided by the cross toolchain (/usr/arm-linux-gnueabihf).
toolchain=" libc6 libgcc-s1 libstdc++6 gcc-12-base gcc-13-base gcc-14-base "

# The direct dependencies of the given armhf packages, first alternative only.
direct_deps() {
  apt-cache depends --no-recommends --no-suggests --no-conflicts --no-breaks --no-replaces \
    --no-enhances "${@/%/:$arch}" 2>/dev/null | awk '
    /^ *\|?(Pre)?Depends:/ {
      alt = ($1 ~ /^\|/)
      name = $2
      sub(/:.*/, "", name)
      if (!skip && name !~ /^</) print name
      skip = alt
      next
    }
    { skip = 0 }'
}

# Breadth first, one apt-cache call per level.
declare -A seen=()
packages=()
level=("${roots[@]}")
while [ ${#level[@]} -gt 0 ]; do
  next=()
  for p in "${level[@]}"; do
    [ -n "${seen[$p]:-}" ] && continue
    seen[$p]=1
    case "$toolchain" in *" $p "*) continue ;; esac
    packages+=("$p")
    next+=("$p")
  done
  [ ${#next[@]} -eq 0 ] && break
  mapfile -t level < <(direct_deps "${next[@]}" | sort -u)
done
packages+=("${headers_only[@]}")

mapfile -t missing < <(debs_missing "$cache" "${packages[@]/%/:$arch}")
if [ ${#missing[@]} -gt 0 ]; then
  debs_fetch "$cache" "${missing[@]}" ||
    fail "apt-get download failed (see $cache/download.log); run scripts/install-deps.sh for the $arch package lists"
fi

rm -rf "$sysroot.new"
debs_unpack "$cache" "$sysroot.new" "${packages[@]/%/:$arch}" || fail "unpacking failed"
lib=$sysroot.new/usr/lib/arm-linux-gnueabihf
[ -e "$lib/libumockdev-preload.so.0" ] || fail "no libumockdev-preload.so.0 in the unpacked packages"
[ -e "$sysroot.new/usr/include/umockdev-1.0/umockdev.h" ] || fail "no umockdev.h in the unpacked packages"
rm -rf "$sysroot"
mv "$sysroot.new" "$sysroot"
printf '%s\n' "${packages[@]}" >"$sysroot/packages.txt"
echo "armhf umockdev sysroot: ${#packages[@]} packages in $sysroot"
