#!/usr/bin/env bash
# Installs, builds and runs the whole test suite. ZRW_SANITIZE=1 builds and runs it
# under AddressSanitizer and UndefinedBehaviorSanitizer in build-asan/ instead.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${ZRW_SANITIZE:-0}" = 1 ]; then
  dir=$root/build-asan
  BUILD_TYPE=Debug bash "$root/scripts/build.sh" "$dir" -DZRW_SANITIZE=ON -DZRW_BUILD_BENCH=OFF
  export ASAN_OPTIONS=detect_leaks=1
  export LSAN_OPTIONS=suppressions=$root/tests/lsan.supp:print_suppressions=0
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
else
  dir=$root/build
  bash "$root/scripts/build.sh" "$dir"
fi
cd "$dir"
ctest --output-on-failure -j2 --timeout 900
