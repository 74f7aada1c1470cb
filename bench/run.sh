#!/bin/sh
# run.sh BUILD_DIR: every benchmark; the ratios that docs/performance.md quotes.
set -eu
cd "$(dirname "$0")/.."
for program in "$1"/bench/*_bench; do
  echo "--- $(basename "$program")"
  case $program in
    */player_bench) "$program" ;;
    */aac_bench) "$program" tests/data/aac/lc_16000_mono_24k_speech.aac \
      tests/data/aac/lc_44100_st_128k_music.aac tests/data/bsac/music44_st_128k.bsac \
      tests/data/bsac/made44_st_128k.bsac ;;
    */als_bench) "$program" tests/data/aac/lc_44100_st_128k_music.aac \
      tests/data/als/ra_every_frame_ltp.als tests/data/als/trans_indep.als ;;
    *) "$program" --benchmark_min_time=0.1 --benchmark_counters_tabular=true ;;
  esac
done
bench/peers.sh "$1"
