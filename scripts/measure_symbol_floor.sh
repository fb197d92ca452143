#!/usr/bin/env bash
# What decoding a U3D file costs at the least with this arithmetic decoder, beside what its
# whole decode costs now: a recording Release build (build-trace, -DKESTRUM_SYMBOL_TRACE=ON)
# takes down every read of head.u3d and bearing.u3d, then replays the coded stream alone with
# each context known in advance. Median CPU time of RUNS repetitions of each.
#   scripts/measure_symbol_floor.sh [runs]      (default 5)
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
build=build-trace
runs="${1:-5}"
if [ ! -f "$build/build.ninja" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTRUM_BENCH=ON -DKESTRUM_TESTS=OFF \
    -DKESTRUM_SYMBOL_TRACE=ON >/dev/null
fi
cmake --build "$build" -j"$(nproc)" --target bench_symbol_floor bench_u3d_decode >/dev/null

median() {
  "$@" --benchmark_repetitions="$runs" --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null |
    awk -F, '$1 ~ /_median"?$/ { gsub(/"/, "", $1); sub(/_median$/, "", $1); printf "%s %.1f\n", $1, $4 }'
}
echo "measuring in $build, $runs runs each (load average $(cut -d' ' -f1-3 /proc/loadavg))" >&2
floor=$(median "$build/bench/bench_symbol_floor")
whole=$(median "$build/bench/bench_u3d_decode" --benchmark_filter='^BM_Decode(Head|Bearing)$')
printf '%-14s %18s %18s\n' file "coded stream only" "whole decode"
for f in Head Bearing; do
  printf '%-14s %15s ms %15s ms\n' "$f" "$(awk -v n="BM_SymbolFloor$f" '$1 == n { print $2 }' <<<"$floor")" \
    "$(awk -v n="BM_Decode$f" '$1 == n { print $2 }' <<<"$whole")"
done
