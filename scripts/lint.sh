#!/bin/sh
# lint.sh BUILD_DIR [JOBS]: format check and clang-tidy over all of our code.
# lint.sh --fix: formats it.
set -eu
cd "$(dirname "$0")/.."

files=$(git ls-files '*.cc' '*.h' '*.c' '*.inl' 2>/dev/null)
if [ "$1" = --fix ]; then
  # shellcheck disable=SC2086
  clang-format -i $files
  exit 0
fi

# shellcheck disable=SC2086
clang-format --dry-run -Werror $files
echo "format: good"

# Files of this build only; level sources repeat the same kernels, one is enough.
sources=$(git ls-files '*.cc' | grep -v '^fuzz/\|^bench/\|level_sse2\|level_sse3\|level_ssse3\|level_avx')
printf '%s\n' $sources | xargs -P "${2:-2}" -n 4 clang-tidy -p "$1" --quiet 2>/tmp/orbel-tidy.$$ ||
  { cat /tmp/orbel-tidy.$$ >&2; rm -f /tmp/orbel-tidy.$$; exit 1; }
rm -f /tmp/orbel-tidy.$$
echo "clang-tidy: good"
