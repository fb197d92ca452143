#!/usr/bin/env bash
# Soak of concurrent captures (not part of CI): one process runs the capture stress test for
# many cycles and prints its resident set size every few hundred cycles, then the growth after
# the first sample. Uses the normal build in ./build (scripts/build.sh first).
#   SOAK_CYCLES (10000 in all, spread over the threads), SOAK_THREADS (5), SOAK_RSS_EVERY (500 in all)
# A sample line names the first thread's cycle; the cycles of all threads are that times the
# thread count.
# The software rasteriser keeps its last frame, with the program and buffers it drew with, until
# it draws again: the heap in use at a sample is one of two levels about 1.6 MB apart, by which
# file was drawn last, and the resident set moves with it.
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

# From the second sample on (the first covers start-up) to the last, in kB: the growth of the
# resident set, of the resident set once the allocator has given back its free memory, and of
# the heap in use, with the range each moves in and its trend (least squares, kB per 1000
# cycles of all threads). The library hands freed memory back a moment after its last scene
# goes and the samples wait for that, so the first two agree unless it did not; the heap in use
# follows what is really held, so a leak shows there first. Each sample also names the thread
# count; KESTRUM_STRESS_SMAPS=<folder> keeps the memory map and the allocator's arenas of each.
awk -v every="${SOAK_RSS_EVERY:-500}" '
  /stress rss cycle/ {
    match($0, /: [0-9]+ kB/); rss[n] = substr($0, RSTART + 2, RLENGTH - 5) + 0
    heap[n] = trimmed[n] = -1
    if (match($0, /trimmed [0-9]+ kB/)) trimmed[n] = substr($0, RSTART + 8, RLENGTH - 11) + 0
    if (match($0, /heap in use [0-9]+ kB/)) heap[n] = substr($0, RSTART + 12, RLENGTH - 15) + 0
    n++
  }
  # Range after the first interval and least-squares trend of one series, in kB per 1000 cycles.
  function summary(name, v,    i, lo, hi, x, sx, sy, sxx, sxy, m, slope) {
    lo = hi = v[1]; sx = sy = sxx = sxy = 0; m = n - 1
    for (i = 1; i < n; i++) {
      if (v[i] < lo) lo = v[i]
      if (v[i] > hi) hi = v[i]
      x = i * every / 1000.0; sx += x; sy += v[i]; sxx += x * x; sxy += x * v[i]
    }
    slope = (m * sxx - sx * sx) != 0 ? (m * sxy - sx * sy) / (m * sxx - sx * sx) : 0
    printf "soak: %s between %d and %d kB after the first interval, trend %.1f kB per 1000 cycles\n", name, lo, hi, slope
  }
  # Median of samples from..to of one series.
  function median(v, from, to,    i, j, k, t, w) {
    k = 0
    for (i = from; i <= to; i++) w[k++] = v[i]
    for (i = 1; i < k; i++) for (j = i; j > 0 && w[j - 1] > w[j]; j--) { t = w[j]; w[j] = w[j - 1]; w[j - 1] = t }
    return k % 2 ? w[int(k / 2)] : (w[k / 2 - 1] + w[k / 2]) / 2
  }
  END {
    if (n <= 2) exit
    printf "soak: rss %d kB after the first interval, %d kB at the end, growth %d kB\n", rss[1], rss[n-1], rss[n-1] - rss[1]
    summary("rss", rss)
    # Single samples sit anywhere in the band the driver leaves; medians of the first and the
    # last few show a shift of the band itself.
    if (n >= 11)
      printf "soak: rss median of the last five minus median of the first five after the first interval: %d kB\n", median(rss, n - 5, n - 1) - median(rss, 1, 5)
    if (trimmed[1] >= 0) {
      printf "soak: trimmed rss %d kB after the first interval, %d kB at the end, growth %d kB\n", trimmed[1], trimmed[n-1], trimmed[n-1] - trimmed[1]
      summary("trimmed rss", trimmed)
    }
    if (heap[1] >= 0) {
      printf "soak: heap in use %d kB after the first interval, %d kB at the end, growth %d kB\n", heap[1], heap[n-1], heap[n-1] - heap[1]
      summary("heap in use", heap)
    }
  }' "$log"
exit "$rc"
