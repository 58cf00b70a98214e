#!/usr/bin/env bash
# The main job: installs the dependencies, builds in Release and runs `rovision demo`, which
# builds the sample part's scan, measures it by the built-in recipe and writes the scan, the
# recipe, the results and a spectrum image into rovision-demo/ (or the folder given, relative to
# the repository's root).
# Usage: scripts/demo.sh [OUTPUT_FOLDER]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" "$root/build-release" -DCMAKE_BUILD_TYPE=Release \
  -DRO_BUILD_TESTS=OFF -DRO_BUILD_BENCHMARKS=OFF
cd "$root"
build-release/tools/rovision demo --out "${1:-rovision-demo}"
