#!/usr/bin/env bash
# Sets everything up, builds and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
ctest --test-dir "${BUILD_DIR:-build}" -j"$(nproc)" --output-on-failure --timeout 600
scripts/check_install.sh
