#!/usr/bin/env bash
# Builds test_util, test_host and the library with ThreadSanitizer in ./build-tsan
# (-DKESTRUM_TSAN=ON) and runs the threading tests: call marshalling, SimpleThread, the bounded
# queue, the log streams and the clock, then the concurrent capture stress test (smaller, as
# the sanitizer slows every call). Fails on any ThreadSanitizer report. Extra arguments go to
# the test programs (for example --gtest_repeat=5).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${TSAN_BUILD_DIR:-build-tsan}
if [ ! -f "$BUILD_DIR/build.ninja" ]; then
  cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DKESTRUM_TSAN=ON -DKESTRUM_BENCH=OFF
fi
cmake --build "$BUILD_DIR" -j"$(nproc)" --target test_util test_host test_windowing Kestrum13-32

UTIL_FILTER='ThreadManager.*:SimpleThread.*:ConcurrentQueue.*:ThreadCallable.*:LoggingTest.*:Clock.*'
HOST_FILTER='CaptureStress.*'
WINDOWING_FILTER='CaptureStressWithProxies.*'
# Mesa's software rasteriser is not built with the sanitizer: its worker threads signal a frame's
# fence through atomics the sanitizer cannot see, so the render thread freeing that fence reads
# as a race between two of the driver's own threads. Reports with a frame in the driver are
# left out; every GL call of the library is made on the render thread alone, so no race of the
# library's own memory runs through the driver.
SUPPRESSIONS="$PWD/$BUILD_DIR/tsan.supp"
printf '%s\n' 'race:swrast_dri.so' 'race:libgallium' >"$SUPPRESSIONS"
export TSAN_OPTIONS="halt_on_error=1 exitcode=66 second_deadlock_stack=1 suppressions=$SUPPRESSIONS ${TSAN_OPTIONS:-}"
export KESTRUM_STRESS_THREADS=${KESTRUM_STRESS_THREADS:-4} KESTRUM_STRESS_CYCLES=${KESTRUM_STRESS_CYCLES:-12}

# Runs one test program with a filter; fails on a non-zero exit or any sanitizer report.
# RUN_WRAPPER, when set, is the command the program runs under (the virtual X server).
run_one() {
  local program=$1 filter=$2
  shift 2
  set +e
  out=$(${RUN_WRAPPER:-} "$BUILD_DIR/tests/$program" --gtest_filter="$filter" "$@" 2>&1)
  rc=$?
  set -e
  # Kernels with many bits of mmap randomisation can break older ThreadSanitizer runtimes
  # ("unexpected memory mapping"); run again without address randomisation then.
  if [ $rc -ne 0 ] && grep -q "unexpected memory mapping" <<<"$out" && command -v setarch >/dev/null; then
    set +e
    out=$(setarch "$(uname -m)" -R ${RUN_WRAPPER:-} "$BUILD_DIR/tests/$program" --gtest_filter="$filter" "$@" 2>&1)
    rc=$?
    set -e
  fi
  printf '%s\n' "$out"
  if grep -q "WARNING: ThreadSanitizer" <<<"$out"; then
    echo "tsan.sh: ThreadSanitizer reported a problem in $program" >&2
    return 1
  fi
  return $rc
}

run_one test_util "$UTIL_FILTER" "$@"
run_one test_host "$HOST_FILTER" "$@"
if command -v Xvfb >/dev/null; then
  RUN_WRAPPER=tests/with_xvfb.sh run_one test_windowing "$WINDOWING_FILTER" "$@"
else
  echo "tsan.sh: Xvfb is not installed; the run beside render proxies is left out" >&2
fi
