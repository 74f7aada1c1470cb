#!/bin/sh
# run.sh BUILD_DIR SECONDS: each target for that long, from its kept inputs; a
# crash is left in the build directory and fails the run.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
cd "$1/fuzz"
for target in fuzz_*; do
  [ -x "$target" ] && [ -f "$target" ] || continue
  mkdir -p "corpus-$target"
  seeds=
  [ -d "$here/seeds/$target" ] && seeds="$here/seeds/$target"
  # shellcheck disable=SC2086
  if "./$target" -max_total_time="$2" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 "corpus-$target" $seeds >"$target.log" 2>&1; then
    echo "$target: $(awk '/number_of_executed_units/ { print $2 }' "$target.log") inputs, no fault"
  else
    tail -40 "$target.log"
    exit 1
  fi
done
