#!/bin/sh
# install_test.sh SOURCE BUILD CC CXX: installs the build into a place of its
# own, compiles README.md's example against it by pkg-config and by CMake, and
# runs both.
set -eu
source=$1 build=$2 cc=$3 cxx=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

DESTDIR="$work/root" cmake --install "$build" --prefix /opt/orbel >/dev/null
root=$work/root/opt/orbel
libdir=$(dirname "$(find "$root" -name 'liborbel.audio.mpeg.so')")
test -f "$root/include/orbel/player.h"
"$root/bin/orbel" --version

# The first C block of the README.
awk '/^```c$/ { on = 1; next } /^```/ { if (on) exit } on' "$source/README.md" >"$work/host.c"
grep -q PlayerOpen "$work/host.c"

flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig \
  pkg-config --cflags --libs orbel.audio.mpeg)
# shellcheck disable=SC2086
"$cc" -std=c11 -Wall -Wextra -Werror "$work/host.c" -o "$work/host" $flags
cat >"$work/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.22)
project(host C)
find_package(orbel.audio.mpeg REQUIRED)
add_executable(host_by_cmake host.c)
target_link_libraries(host_by_cmake PRIVATE orbel::audio_mpeg)
END
cmake -S "$work" -B "$work/b" -DCMAKE_PREFIX_PATH="$root" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$work/b" >/dev/null

# It plays a file of mu-law through the default device: here, one that takes
# everything and says nothing.
echo 'pcm.!default { type null }' >"$work/asound.conf"
head -c 16000 /dev/zero >"$work/camera.ul"
for host in "$work/host" "$work/b/host_by_cmake"; do
  LD_LIBRARY_PATH=$libdir ALSA_CONFIG_PATH=$work/asound.conf "$host" "$work/camera.ul"
done
