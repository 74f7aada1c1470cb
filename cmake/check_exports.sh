#!/bin/sh
# check_exports.sh LIBRARY LIST: fails when the library's exports are not exactly
# those of the sorted list.
set -eu
found=$(nm -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
  grep -v '^__\|^_init$\|^_fini$' | LC_ALL=C sort)
if [ "$found" != "$(cat "$2")" ]; then
  echo "$1: the exports differ from $2:" >&2
  printf '%s\n' "$found" | diff "$2" - >&2 || true
  exit 1
fi
