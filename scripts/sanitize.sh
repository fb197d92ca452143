#!/usr/bin/env bash
# Builds everything with AddressSanitizer + UndefinedBehaviorSanitizer in ./build-asan
# (-DKESTRUM_SANITIZE=ON) and runs the whole test suite. Any sanitizer finding fails its test:
# ASan and UBSan halt on the first error, LeakSanitizer reports make the program exit non-zero.
# Leaks inside the Mesa/EGL/X11 libraries are suppressed (scripts/lsan.supp); nothing else is.
# Extra arguments go to ctest (for example -R U3D).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
BUILD_DIR=${ASAN_BUILD_DIR:-build-asan}

cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKESTRUM_SANITIZE=ON -DKESTRUM_BENCH=OFF
cmake --build "$BUILD_DIR" -j2

# LeakSanitizer needs ptrace; where it cannot run (some containers) it would fail every test,
# so probe once and fall back to ASan without leak checking there.
leaks=1
probe=$("$BUILD_DIR/tests/test_util" --gtest_list_tests 2>&1 >/dev/null || true)
if grep -q "LeakSanitizer has encountered a fatal error" <<<"$probe"; then
  echo "sanitize.sh: LeakSanitizer does not work here; running without leak checks" >&2
  leaks=0
fi

export ASAN_OPTIONS="halt_on_error=1 abort_on_error=0 exitcode=23 detect_leaks=$leaks \
detect_stack_use_after_return=1 check_initialization_order=1 strict_init_order=1 \
detect_invalid_pointer_pairs=0 strict_string_checks=1 ${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="halt_on_error=1 print_stacktrace=1 report_error_type=1 exitcode=24 ${UBSAN_OPTIONS:-}"
export LSAN_OPTIONS="suppressions=$ROOT/scripts/lsan.supp print_suppressions=0 ${LSAN_OPTIONS:-}"

if ctest --test-dir "$BUILD_DIR" -j2 --output-on-failure "$@"; then exit 0; fi

# LeakSanitizer's own tracer can fault while it stops the process's threads at exit (seen with
# the software rasteriser's workers still ending); it then reports "LeakSanitizer has
# encountered a fatal error" after every test has passed, and does so again on a rerun. Only
# when each failure is that crash, and the log holds no sanitizer finding, are the failed tests
# run once more, with AddressSanitizer and UndefinedBehaviorSanitizer but without the leak
# check whose tracer failed.
log="$BUILD_DIR/Testing/Temporary/LastTest.log"
failed=$(grep -c . "$BUILD_DIR/Testing/Temporary/LastTestsFailed.log" || true)
crashes=$(grep -c "LeakSanitizer has encountered a fatal error" "$log" || true)
if [ "$failed" -gt 0 ] && [ "$crashes" -ge "$failed" ] &&
   ! grep -q -E "ERROR: (AddressSanitizer|LeakSanitizer: detected)|runtime error:" "$log"; then
  echo "sanitize.sh: $failed test(s) failed only by a LeakSanitizer tracer crash; running them again" >&2
  ASAN_OPTIONS="$ASAN_OPTIONS detect_leaks=0" ctest --test-dir "$BUILD_DIR" --rerun-failed --output-on-failure "$@"
  exit
fi
exit 1
