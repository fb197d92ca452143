#!/usr/bin/env bash
# Wall time and peak memory of one command-line capture of head.u3d at 1024x768: load,
# capture to a PNG, unload, shutdown, as `kestrum capture` runs it.
#   scripts/measure_capture.sh [runs]     (BUILD_DIR defaults to build)
set -euo pipefail
cd "$(dirname "$0")/.."
kestrum="${BUILD_DIR:-build}/tools/kestrum"
scene="${KESTRUM_TESTDATA:-$(cd .. && pwd)/shared/testdata}/u3d/head.u3d"
runs="${1:-3}"
[ -x "$kestrum" ] || { echo "no $kestrum: build first" >&2; exit 1; }
[ -f "$scene" ] || { echo "no $scene" >&2; exit 1; }
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT

echo "kestrum capture head.u3d --size 1024x768, $runs runs (load average: $(cut -d' ' -f1-3 /proc/loadavg))"
for i in $(seq "$runs"); do
  /usr/bin/time -v "$kestrum" capture "$scene" --size 1024x768 -o "$out/head.png" \
    >/dev/null 2>"$out/time.txt" || { cat "$out/time.txt" >&2; exit 1; }
  wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$out/time.txt")
  rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$out/time.txt")
  user=$(sed -n 's/.*User time (seconds): //p' "$out/time.txt")
  sys=$(sed -n 's/.*System time (seconds): //p' "$out/time.txt")
  printf 'run %d: wall %s  user %ss  sys %ss  peak RSS %d MB\n' "$i" "$wall" "$user" "$sys" $((rss / 1024))
done
