#!/usr/bin/env bash
# The main job: installs the dependencies, builds in Release and runs the example on a
# generated height map.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" "$root/build-release" -DCMAKE_BUILD_TYPE=Release \
  -DRO_BUILD_TESTS=OFF -DRO_BUILD_BENCHMARKS=OFF
"$root/build-release/examples/surface_regions"
