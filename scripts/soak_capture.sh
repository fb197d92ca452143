#!/usr/bin/env bash
# Soak of concurrent captures (not part of CI): one process runs the capture stress test for
# many cycles and prints its resident set size every few hundred cycles, then the growth after
# the first sample. Uses the normal build in ./build (scripts/build.sh first).
#   SOAK_CYCLES (10000 in all, spread over the threads), SOAK_THREADS (5), SOAK_RSS_EVERY (500 in all)
# A sample line names the first thread's cycle; the cycles of all threads are that times the
# thread count.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build}
cmake --build "$BUILD_DIR" -j2 --target test_host Kestrum13-32 >/dev/null

threads=${SOAK_THREADS:-5}
export KESTRUM_STRESS_THREADS=$threads
export KESTRUM_STRESS_CYCLES=$(( ${SOAK_CYCLES:-10000} / threads ))
export KESTRUM_STRESS_RSS_EVERY=$(( ${SOAK_RSS_EVERY:-500} / threads ))

log=$(mktemp)
trap 'rm -f "$log"' EXIT
set +e
"$BUILD_DIR/tests/test_host" --gtest_filter='CaptureStress.*' | tee "$log" | grep -E "stress rss|OK|FAILED"
rc=${PIPESTATUS[0]}
set -e

# Growth from the second sample on (the first covers start-up) to the last, in kB.
awk '/stress rss cycle/ { kb[n++] = $(NF-1) }
     END { if (n > 2) printf "soak: rss %d kB after the first interval, %d kB at the end, growth %d kB\n", kb[1], kb[n-1], kb[n-1] - kb[1] }' "$log"
exit "$rc"
