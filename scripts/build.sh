#!/usr/bin/env bash
# Configures (once) and builds the project in ./build. Extra arguments go to cmake at configure time.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build}
# Compiler cache hits across checkouts in different folders (CI clones afresh each time).
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
if [ ! -f "$BUILD_DIR/build.ninja" ]; then
  cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=${BUILD_TYPE:-RelWithDebInfo} "$@"
fi
cmake --build "$BUILD_DIR" -j"$(nproc)"
