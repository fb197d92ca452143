#!/usr/bin/env bash
# Sets everything up, builds, and runs the command-line host. Without arguments it runs the
# main job; any arguments are passed to `kestrum` as they are.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh >/dev/null
if [ $# -eq 0 ]; then
  set -- --version
fi
exec "${BUILD_DIR:-build}/tools/kestrum" "$@"
