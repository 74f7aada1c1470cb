#!/bin/sh
# bootstrap.sh NEED...: makes sure that what a job needs is on this machine. On a
# Debian-like machine it installs what is missing when run as root; otherwise
# it says what to install and fails.
set -eu

missing=
want_program() { command -v "$1" >/dev/null 2>&1 || missing="$missing $2"; }
want_file() {
  for candidate in $1; do [ -e "$candidate" ] && return; done
  missing="$missing $2"
}

for need in "$@"; do
  case $need in
    build)
      want_program g++ g++
      want_program cmake cmake
      want_program ninja ninja-build
      want_program nm binutils
      ;;
    test)
      want_file "/usr/include/gtest/gtest.h /usr/local/include/gtest/gtest.h" libgtest-dev
      want_file "/usr/lib/*/libasound.so.2 /usr/lib/libasound.so.2 /usr/lib64/libasound.so.2" libasound2
      want_program pkg-config pkg-config
      want_file "/usr/include/FLAC/stream_decoder.h /usr/local/include/FLAC/stream_decoder.h" libflac-dev
      ;;
    lint)
      want_program clang-format clang-format
      want_program clang-tidy clang-tidy
      ;;
    clang)
      want_program clang++ clang
      want_file "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.asan-x86_64.a /usr/lib/clang/*/lib/linux/libclang_rt.asan-x86_64.a" libclang-rt-dev
      ;;
    baseline) want_program qemu-x86_64 qemu-user ;;
    bench) want_file "/usr/include/benchmark/benchmark.h /usr/local/include/benchmark/benchmark.h" libbenchmark-dev ;;
    peers)
      want_program ffmpeg ffmpeg
      want_program sox sox
      want_program faad faad
      ;;
    samples)
      want_program ffmpeg ffmpeg
      want_program sox sox
      want_program espeak-ng espeak-ng
      ;;
    *) echo "bootstrap.sh: unknown need '$need'" >&2; exit 2 ;;
  esac
done

[ -z "$missing" ] && exit 0
if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null 2>&1; then
  echo "Missing on this machine. On Debian or Ubuntu, install:" >&2
  echo "  apt-get install$missing" >&2
  exit 1
fi
echo "Installing:$missing"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
# shellcheck disable=SC2086  # a list of packages
if ! { apt-get update && apt-get install -y --no-install-recommends $missing; } >"$log" 2>&1; then
  cat "$log" >&2
  rm -f "$log"
  exit 1
fi
rm -f "$log"
