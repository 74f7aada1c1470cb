#!/bin/sh
# demo.sh BUILD_DIR: decodes every sample into out/*.wav with the tool of that
# build and prints a table, then codes one with silence coding. The times are the tool's own, from opening a file to
# closing the decoded one.
set -eu
cd "$(dirname "$0")/.."
orbel=$1/orbel
mkdir -p out

# field KEY JSON: the value of one field of the tool's one-line JSON.
field() { printf '%s\n' "$2" | sed -n "s/.*\"$1\": \"\{0,1\}\([^\",}]*\).*/\1/p"; }

row='%-16s %-18s %6s %2s %7s %11s %6s %6s\n'
# shellcheck disable=SC2059  # the format is ours
printf "$row" file format Hz ch seconds 'x real time' peak RMS
while read -r file options; do
  name=$(printf '%s\n' "$file" | sed 's/\.wav$//; s/\./-/g')
  # shellcheck disable=SC2086  # options are words
  done=$("$orbel" decode "samples/$file" $options -o "out/$name.wav" --json)
  # shellcheck disable=SC2086
  facts=$("$orbel" info "samples/$file" $options --json)
  # shellcheck disable=SC2059
  printf "$row" "$file" "$(field title "$done")" "$(field rate "$facts")" \
    "$(field channels "$facts")" "$(field seconds "$done")" \
    "$(field timesRealTime "$done" | cut -d. -f1)" \
    "$(field peakDbfs "$facts")" "$(field rmsDbfs "$facts")"
done <samples/list.txt
saved=$("$orbel" encode out/porch-mulaw.wav --format mulaw --vad -o out/porch.orbv --json)
"$orbel" decode out/porch.orbv -o out/porch-vad.wav
echo "Silence coding of porch-mulaw.wav saved $(field savedBytes "$saved") of" \
  "$(field samples "$saved") bytes, with $(field speech "$saved") frames of"
echo "speech, $(field silence "$saved") descriptors and $(field nothing "$saved") frames not sent."
echo "The decoded sound is in out/: 16-bit PCM. Levels are in dB under full scale."
