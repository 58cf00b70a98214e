#!/usr/bin/env bash
# Installs the dependencies, builds and runs every test.
#   scripts/test.sh              the normal build (build/), benchmarks built but not run
#   scripts/test.sh --sanitize   AddressSanitizer and UndefinedBehaviorSanitizer (build-asan/)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
jobs="$(nproc)"
if [ "${1:-}" = "--sanitize" ]; then
  build="$root/build-asan"
  "$root/scripts/build.sh" "$build" -DCMAKE_BUILD_TYPE=Debug -DRO_SANITIZE=address,undefined \
    -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DRO_BUILD_BENCHMARKS=OFF -DRO_BUILD_EXAMPLES=OFF
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
else
  build="$root/build"
  "$root/scripts/build.sh" "$build"
fi
ctest --test-dir "$build" --output-on-failure -j "$jobs"
