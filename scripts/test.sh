#!/usr/bin/env bash
# Sets everything up, builds and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
cd "${BUILD_DIR:-build}"
ctest --output-on-failure -j"$(nproc)" --timeout 600
