#!/bin/bash
# Builds the libFuzzer targets with clang in build-fuzz and runs one of them for the given
# number of seconds, seeded from the matching test data folder:
#   scripts/fuzz.sh [SECONDS] [TARGET]      default 300 seconds, target fuzz_u3d
#   scripts/fuzz.sh --list                  the target names, one a line
# Crashing inputs land in build-fuzz/crashes/; keep them as regression files in
# tests/<format>/regressions/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "${1:-}" = "--list" ]; then
  for source in "$root"/fuzz/fuzz_*.cpp; do basename "$source" .cpp; done
  exit 0
fi
seconds=${1:-300}
target=${2:-fuzz_u3d}
format=${target#fuzz_}
build="$root/build-fuzz"
flags="-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined -g -O1"
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DKESTRUM_FUZZ=ON -DKESTRUM_TESTS=OFF -DKESTRUM_BENCH=OFF >/dev/null
cmake --build "$build" --target "$target" -j"$(nproc)"
corpus="$build/corpus/$format"
mkdir -p "$corpus" "$build/crashes"
# Seeds: the third-party files of the format (copied into the build tree, never the repo),
# the project's own seeds, and its regression inputs.
for seeds in "$root/../shared/testdata/$format" "$root/fuzz/seeds/$format" "$root/tests/$format/regressions"; do
  if [ -d "$seeds" ]; then
    find "$seeds" -maxdepth 1 -type f ! -name '*.md' ! -name '*.py' -exec cp -n {} "$corpus/" \;
  fi
done
cd "$build"
exec "./fuzz/$target" "$corpus" -max_total_time="$seconds" -max_len=262144 -rss_limit_mb=2048 \
  -timeout=10 -artifact_prefix="$build/crashes/$target-" -print_final_stats=1
