#!/bin/sh
# baseline_check.sh BUILD_DIR: runs the primitives' tests on emulated processors
# of each level up to SSE4.1, so that code for a newer one can't slip in.
set -eu
for cpu in Opteron_G1 core2duo Penryn Nehalem; do
  echo "--- $cpu"
  qemu-x86_64 -cpu "$cpu" "$1/tests/dsp/dsp_test" --gtest_brief=1
done
