#!/usr/bin/env bash
# Configures and builds into a build folder with Ninja (and ccache when present).
# Usage: scripts/build.sh [BUILD_DIR] [extra cmake arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}"
shift || true
cmake -S "$root" -B "$build" -G Ninja -DRO_WERROR=ON "$@"
cmake --build "$build"
