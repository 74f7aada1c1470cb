#!/bin/sh
# run.sh BUILD_DIR SECONDS: all targets in so many seconds, two at a time, each from
# the inputs kept in fuzz/seeds; a crash is left in the build directory and fails the
# run.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
cd "$1/fuzz"
targets=$(for target in fuzz_*; do
  if [ -x "$target" ] && [ -f "$target" ]; then echo "$target"; fi
done)
count=$(echo "$targets" | wc -l)
share=$(($2 * 2 / count))
[ "$share" -gt 0 ] || share=1

run() {
  mkdir -p "corpus-$1"
  # The minimised inputs of longer runs; streams serve the levels too.
  kept="$here/seeds/$(echo "$1" | sed 's/aac_levels/aac_stream/').tar.gz"
  seeds=
  if [ -f "$kept" ]; then
    seeds="seeds-$1"
    mkdir -p "$seeds"
    tar -xzf "$kept" -C "$seeds"
  fi
  # shellcheck disable=SC2086
  if "./$1" -max_total_time="$share" -max_len=4096 -timeout=20 -rss_limit_mb=2048 \
    -print_final_stats=1 "corpus-$1" $seeds >"$1.log" 2>&1; then
    echo "$1: $(awk '/number_of_executed_units/ { print $2 }' "$1.log") inputs, no fault"
  else
    tail -40 "$1.log"
    : >failed
  fi
}

rm -f failed
# shellcheck disable=SC2086
set -- $targets
while [ $# -gt 0 ]; do
  run "$1" &
  if [ $# -gt 1 ]; then
    run "$2"
    shift
  fi
  shift
  wait
done
[ ! -e failed ]
