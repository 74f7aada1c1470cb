#!/bin/bash
# peers.sh BUILD_DIR: the orbel tool beside public tools on the same bytes, whole
# processes, user CPU seconds, best of three runs in turn. Prints ratios.
set -eu
cd "$(dirname "$0")/.."
scripts/bootstrap.sh peers
orbel=$1/orbel
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# user_seconds COMMAND...: the least of three runs.
user_seconds() {
  local best= now
  for _ in 1 2 3; do
    TIMEFORMAT=%U
    now=$({ time "$@" >/dev/null 2>&1; } 2>&1)
    if [ -z "$best" ] || awk "BEGIN { exit !($now < $best) }"; then best=$now; fi
  done
  echo "$best"
}
report() { # what ours theirs tool
  awk -v what="$1" -v ours="$2" -v theirs="$3" -v tool="$4" 'BEGIN {
    printf "%-28s orbel %7.2f s   %s %7.2f s   %s / orbel = %.2f\n", what, ours, tool, theirs,
           tool, theirs / (ours > 0 ? ours : 0.01) }'
}

megabytes=${PEERS_MEGABYTES:-1024}
echo "G.711 expansion of $megabytes MB to PCM thrown away, user CPU seconds"
head -c $((megabytes * 1048576)) /dev/urandom >"$work/in.ul"
ours=$(user_seconds "$orbel" decode "$work/in.ul" --format mulaw --raw -o /dev/null)
theirs=$(user_seconds sox -t raw -e mu-law -b 8 -r 8000 -c 1 "$work/in.ul" -t raw -e signed -b 16 /dev/null)
report "mu-law" "$ours" "$theirs" sox
theirs=$(user_seconds ffmpeg -v error -y -f mulaw -ar 8000 -ac 1 -i "$work/in.ul" -f s16le /dev/null)
report "mu-law" "$ours" "$theirs" ffmpeg
rm "$work/in.ul"

echo "G.726 at 32 kbit/s, 10 minutes, to PCM thrown away, user CPU seconds"
sox -n -r 8000 -c 1 -b 16 "$work/in.wav" synth 600 pinknoise tremolo 2 gain -6
ffmpeg -v error -y -i "$work/in.wav" -c:a g726le -b:a 32k -f data "$work/in.g726" 2>/dev/null ||
  ffmpeg -v error -y -i "$work/in.wav" -c:a g726le -b:a 32k -f g726le "$work/in.g726"
ours=$(user_seconds "$orbel" decode "$work/in.g726" --format g726-32 --raw -o /dev/null)
theirs=$(user_seconds ffmpeg -v error -y -f g726le -code_size 4 -sample_rate 8000 -i "$work/in.g726" -f s16le /dev/null)
report "G.726 at 32 kbit/s" "$ours" "$theirs" ffmpeg

# repeat_stream FILE SECONDS SECONDS_OF_FILE: FILE over and over.
repeat_stream() {
  local count=$(awk "BEGIN { print int($2 / $3) + 1 }")
  for ((i = 0; i < count; ++i)); do cat "$1"; done
}
echo "AAC LC, 44.1 kHz stereo at 128 kbit/s, 10 minutes of ADTS to PCM thrown away, user CPU seconds"
sox -n -r 44100 -c 2 -b 16 "$work/music.wav" synth 20 pluck A2 pluck E3 tremolo 3 gain -9 : \
  synth 10 pinknoise tremolo 1 gain -18
ffmpeg -v error -y -i "$work/music.wav" -c:a aac -b:a 128k "$work/music.aac"
seconds=$(ffprobe -v error -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$work/music.aac" | awk '{ print $1 * 1024 / 44100 }')
repeat_stream "$work/music.aac" 600 "$seconds" >"$work/long.aac"
repeat_stream tests/data/aac/lc_44100_st_128k_music.aac 600 "$(awk 'BEGIN { print 19 * 1024 / 44100 }')" >"$work/tools.aac"
for stream in long tools; do
  ours=$(user_seconds "$orbel" decode "$work/$stream.aac" --raw -o /dev/null)
  theirs=$(user_seconds ffmpeg -v error -threads 1 -i "$work/$stream.aac" -f null -)
  report "AAC LC, $stream" "$ours" "$theirs" ffmpeg
  theirs=$(user_seconds faad -q -o /dev/null "$work/$stream.aac")
  report "AAC LC, $stream" "$ours" "$theirs" faad
done

sox "$work/music.wav" -r 16000 -c 1 "$work/speech.wav"
ffmpeg -v error -y -i "$work/speech.wav" -c:a aac -b:a 32k "$work/speech.aac"
"$1/bench/aac_bench" "$work/speech.aac"

echo "HE-AAC, 10 minutes of ADTS to PCM thrown away, user CPU seconds"
for stream in he1_44100_st_48k he2_44100_24k; do
  file=tests/data/aac/$stream.aac
  seconds=$(ffprobe -v error -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$file" | awk '{ print $1 * 2048 / 44100 }')
  repeat_stream "$file" 600 "$seconds" >"$work/he.aac"
  ours=$(user_seconds "$orbel" decode "$work/he.aac" --raw -o /dev/null)
  theirs=$(user_seconds ffmpeg -v error -threads 1 -i "$work/he.aac" -f null -)
  report "$stream" "$ours" "$theirs" ffmpeg
  theirs=$(user_seconds faad -q -o /dev/null "$work/he.aac")
  report "$stream" "$ours" "$theirs" faad
  if [ "$stream" = he1_44100_st_48k ]; then
    theirs=$(user_seconds "$orbel" decode "$work/he.aac" --sbr-mode 28 --raw -o /dev/null)
    report "complex against real" "$theirs" "$ours" complex
  fi
done
