#!/bin/sh
# make.sh: makes the telephony and the lossless samples beside it again. Needs espeak-ng,
# sox, ffmpeg and a C++ compiler; the same versions of these give the same bytes.
set -eu
cd "$(dirname "$0")"
root=$(cd .. && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"${CXX:-c++}" -std=c++20 -O2 "$root/tests/support/ima_writer.cc" -o "$work/ima_writer"
"${CXX:-c++}" -std=c++20 -O2 -I"$root/tests" "$root/tests/support/als_coder.cc" \
  "$root/tests/als/als_writer.cc" -o "$work/als_coder"

# speech NAME SECONDS VOICE TEXT: a sentence as an intercom would send it.
speech() {
  espeak-ng -v "$3" -s 150 -w "$work/said.wav" "$4"
  sox -V1 -R -D "$work/said.wav" -r 8000 -c 1 -b 16 "$work/$1.wav" \
    norm -3 pad 0.1 1 trim 0 "$2" fade t 0.02 "$2" 0.05
}

# music NAME NOTES...: plucked strings, 0.4 s a note, the last one twice as long.
music() {
  name=$1
  shift
  parts=
  for note in "$@"; do
    parts="$parts $work/$name.$note.wav"
    sox -R -n -r 48000 -c 1 "$work/$name.$note.wav" synth 0.4 pluck "$note" fade t 0.005 0.4 0.05
  done
  # shellcheck disable=SC2086  # a list of files
  sox -R -D $parts -r 8000 -c 1 -b 16 "$work/$name.wav" norm -3
}

# talk NAME TEXT...: sentences with long pauses, in the noise of a quiet street.
talk() {
  name=$1
  shift
  parts=
  for text in "$@"; do
    espeak-ng -v en-us -s 150 -w "$work/said.wav" "$text"
    part="$work/$name.${#parts}.wav"
    sox -V1 -R -D "$work/said.wav" -r 8000 -c 1 -b 16 "$part" norm -3 pad 0.5 1.1
    parts="$parts $part"
  done
  # shellcheck disable=SC2086  # a list of files
  sox -R -D $parts "$work/joined.wav" trim 0 7
  sox -R -n -r 8000 -c 1 -b 16 "$work/street.wav" synth 7 pinknoise highpass 200 vol 0.03
  sox -R -D -m -v 1 "$work/joined.wav" -v 1 "$work/street.wav" -b 16 "$work/$name.wav"
}

# bells NAME HERTZ...: tones with two overtones each, 0.33 s a note, in stereo.
bells() {
  name=$1
  shift
  parts=
  for note in "$@"; do
    parts="$parts $work/$name.$note.wav"
    sox -R -n -r 44100 -c 2 "$work/$name.$note.wav" synth 0.33 sine "$note" sine "$note" \
      synth 0.33 sine mix $((note * 2)) sine mix $((note * 2 + 1)) \
      synth 0.33 sine mix $((note * 3 + 2)) sine mix $((note * 3)) fade l 0.004 0.33 0.3
  done
  # shellcheck disable=SC2086
  sox -R -D $parts -b 16 "$work/$name.wav" norm -3
}

speech dock 3.4 en-us "Camera four. Motion at the loading dock."
speech gate 3.1 en-gb "North gate. Please state your name."
speech lobby 3.8 en-us "The lobby closes in five minutes. Good night."
speech yard 3 en-gb "Vehicle in the yard. Two persons."
talk porch "Camera two." "Please open the gate." "Thank you."
bells bells 262 330 392 523
music chime C4 E4 G4 C5 G4 E4 C4
music scale A3 B3 C4 D4 E4 F4 A4

pcm() { sox -D "$work/$1.wav" -t raw -e signed -b 16 -L -; }
g726() { ffmpeg -v error -y -i "$work/$1.wav" -c:a g726le -b:a "$2" -f g726le "$3"; }

sox -D "$work/dock.wav" -e mu-law dock-mulaw.wav
sox -D "$work/chime.wav" -t raw -e mu-law chime.mulaw
sox -D "$work/gate.wav" -e a-law gate-alaw.wav
sox -D "$work/scale.wav" -t raw -e a-law scale.alaw
g726 lobby 32k lobby.g726-32
g726 chime 32k chime.g726-32
g726 gate 24k gate.g726-24
g726 scale 24k scale.g726-24
sox -D "$work/porch.wav" -e mu-law porch-mulaw.wav
sox "$work/bells.wav" -t raw - | "$work/als_coder" 44100 2 >bells.als
pcm yard | "$work/ima_writer" 256 >yard-256.ima
pcm chime | "$work/ima_writer" 512 >chime-512.ima

ls -l ./*.wav ./*.mulaw ./*.alaw ./*.g726* ./*.ima ./*.als
