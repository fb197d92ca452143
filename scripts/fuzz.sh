#!/bin/bash
# Builds the U3D fuzz target with clang in build-fuzz and runs it for the given number of
# seconds (default 300), seeded from the U3D test data. Crashing inputs land in
# build-fuzz/crashes/; keep them as regression files in tests/u3d/regressions/.
set -euo pipefail
seconds=${1:-300}
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-fuzz"
flags="-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined -g -O1"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DKESTRUM_FUZZ=ON -DKESTRUM_TESTS=OFF -DKESTRUM_BENCH=OFF >/dev/null
cmake --build "$build" --target fuzz_u3d -j2
corpus="$build/corpus"
mkdir -p "$corpus" "$build/crashes"
cp -n "$root/../shared/testdata/u3d/"*.u3d "$corpus/" 2>/dev/null || true
if [ -d "$root/tests/u3d/regressions" ]; then cp -n "$root/tests/u3d/regressions/"* "$corpus/" 2>/dev/null || true; fi
cd "$build"
exec ./fuzz/fuzz_u3d "$corpus" -max_total_time="$seconds" -max_len=262144 -rss_limit_mb=2048 \
  -timeout=10 -artifact_prefix="$build/crashes/" -print_final_stats=1
