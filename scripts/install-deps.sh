#!/usr/bin/env bash
# Installs the build and test dependencies from Debian's packages.
# Run as root or through sudo on Debian 12. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  liblodepng-dev libcli11-dev nlohmann-json3-dev
  libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev libopencv-photo-dev
  libeigen3-dev
  libcgal-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all dependencies present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
