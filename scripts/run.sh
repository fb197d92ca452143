#!/usr/bin/env bash
# Sets everything up, builds, and runs the command-line host. Without arguments it runs the
# main job: a capture of the sample scene shipped in scenes/ into a PNG below the user's data
# folder, whose path it prints. Any arguments are passed to `kestrum` as they are.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh >/dev/null
kestrum="${BUILD_DIR:-build}/tools/kestrum"
if [ $# -eq 0 ]; then
  out="$("$kestrum" capture --size 800x600)"
  echo "sample scene captured to: $out"
  exit 0
fi
exec "$kestrum" "$@"
