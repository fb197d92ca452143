#!/usr/bin/env bash
# Installs every Debian package the project needs. Safe to run again.
set -euo pipefail
PKGS=(
  build-essential cmake ninja-build ccache pkg-config clang libclang-rt-14-dev
  zlib1g-dev libfmt-dev
  libepoxy-dev libegl-dev libgl-dev libegl1-mesa-dev libegl-mesa0 libgl1-mesa-dri libx11-dev
  libpng-dev libturbojpeg0-dev libjpeg62-turbo-dev libtiff-dev libstb-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libqpdf-dev
  xvfb xauth xdotool
)
missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
