#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Fails when a C or C++ file of the tree differs from what .clang-format
# makes of it, and names the files. The formatter is Debian's clang-format
# 14 (scripts/install-deps.sh installs it): another version formats some
# constructs differently, so it is refused rather than trusted.
#   bash scripts/check-format.sh          check
#   bash scripts/check-format.sh --fix    format the files in place
set -euo pipefail
cd "$(dirname "$0")/.."

fmt=${CLANG_FORMAT:-clang-format-14}
if ! command -v "$fmt" >/dev/null 2>&1; then
  echo "check-format: $fmt not found (bash scripts/install-deps.sh installs it)" >&2
  exit 2
fi
if ! "$fmt" --version | grep -q 'version 14\.'; then
  echo "check-format: $fmt is not clang-format 14: $("$fmt" --version)" >&2
  exit 2
fi

if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  mapfile -d '' files < <(git ls-files -z -- '*.c' '*.h' '*.cpp' '*.hpp')
else
  mapfile -d '' files < <(find . -path ./build -prune -o -type f \
    \( -name '*.c' -o -name '*.h' -o -name '*.cpp' -o -name '*.hpp' \) -print0)
fi

if [ "${1:-}" = "--fix" ]; then
  "$fmt" -i "${files[@]}"
  exit 0
fi

differ=$("$fmt" --dry-run "${files[@]}" 2>&1 | sed -n 's/^\([^:]*\):[0-9]*:[0-9]*: warning: code should be clang-formatted.*/\1/p' | sort -u)
if [ -n "$differ" ]; then
  echo "check-format: these files differ from .clang-format (bash scripts/check-format.sh --fix):" >&2
  echo "$differ" >&2
  exit 1
fi
echo "check-format: ${#files[@]} files formatted"
