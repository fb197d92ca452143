#!/usr/bin/env bash
# Builds test_util with ThreadSanitizer in ./build-tsan (-DKESTRUM_TSAN=ON) and runs its
# threading tests: call marshalling, SimpleThread, the bounded queue, the log streams and the
# clock. Fails on any ThreadSanitizer report. Extra arguments go to the test program
# (for example --gtest_repeat=5).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${TSAN_BUILD_DIR:-build-tsan}
if [ ! -f "$BUILD_DIR/build.ninja" ]; then
  cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DKESTRUM_TSAN=ON -DKESTRUM_BENCH=OFF
fi
cmake --build "$BUILD_DIR" -j"$(nproc)" --target test_util

FILTER='ThreadManager.*:SimpleThread.*:ConcurrentQueue.*:ThreadCallable.*:LoggingTest.*:Clock.*'
export TSAN_OPTIONS="halt_on_error=1 exitcode=66 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"

run() { "$BUILD_DIR/tests/test_util" --gtest_filter="$FILTER" "$@"; }

set +e
out=$(run "$@" 2>&1)
rc=$?
set -e
# Kernels with many bits of mmap randomisation can break older ThreadSanitizer runtimes
# ("unexpected memory mapping"); run again without address randomisation then.
if [ $rc -ne 0 ] && grep -q "unexpected memory mapping" <<<"$out" && command -v setarch >/dev/null; then
  set +e
  out=$(setarch "$(uname -m)" -R "$BUILD_DIR/tests/test_util" --gtest_filter="$FILTER" "$@" 2>&1)
  rc=$?
  set -e
fi
printf '%s\n' "$out"
if grep -q "WARNING: ThreadSanitizer" <<<"$out"; then
  echo "tsan.sh: ThreadSanitizer reported a problem" >&2
  exit 1
fi
exit $rc
