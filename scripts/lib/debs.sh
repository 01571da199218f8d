# SPDX-License-Identifier: MIT
# Debian packages fetched with `apt-get download` into a cache folder and
# unpacked with `dpkg-deb -x` into a private folder: nothing is installed.
# Sourced by the scripts that need packages the machine must not install
# (the armhf umockdev sysroot, the kernel lab's kernel and busybox).
# A package is NAME or NAME:ARCH; without an architecture any file of NAME
# in the cache will do.

# The newest downloaded file of a package in CACHE, or nothing.
debs_file() {
  local name=${2%%:*} arch='*'
  [[ $2 == *:* ]] && arch=${2#*:}
  { compgen -G "$1/${name}_*_${arch}.deb" || true; } | sort -V | tail -n 1
}

# The given packages that CACHE does not hold yet, one a line.
debs_missing() {
  local cache=$1 p
  shift
  for p in "$@"; do [ -n "$(debs_file "$cache" "$p")" ] || echo "$p"; done
}

# Downloads the given packages into CACHE; apt-get's messages go to
# CACHE/download.log. Fails as apt-get does.
debs_fetch() {
  local cache=$1
  shift
  mkdir -p "$cache"
  (cd "$cache" && apt-get download -q "$@" >/dev/null 2>"$cache/download.log")
}

# Unpacks the newest download of each package into DEST. A file that cannot
# be unpacked (a download cut short) is removed, so that the next run fetches
# it again; the status is then 1, with the reason on stderr.
debs_unpack() {
  local cache=$1 dest=$2 p deb
  shift 2
  mkdir -p "$dest"
  for p in "$@"; do
    deb=$(debs_file "$cache" "$p")
    if [ -z "$deb" ]; then
      echo "$p: not downloaded into $cache" >&2
      return 1
    fi
    if ! dpkg-deb -x "$deb" "$dest"; then
      rm -f "$deb"
      echo "$deb could not be unpacked; removed, run again" >&2
      return 1
    fi
  done
}
