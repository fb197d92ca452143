#!/usr/bin/env bash
# One table of the performance aims with the figures measured now, from a Release build
# (BUILD_DIR, default build-release, configured with -DKESTRUM_BENCH=ON):
#   decode of head.u3d and bearing.u3d   bench_u3d_decode, median CPU time of RUNS repetitions
#   capture of head.u3d at 1024x768      whole `kestrum capture` process: user+sys CPU, wall, peak RSS
#   peak RSS above idle                  head.u3d's peak minus box.u3d's (a near-empty scene: the
#                                        process with its context made and one tiny frame drawn)
#   TextureLayers.u3d texture build      BuildSceneGraph::CreateTextures from the load profile
#   capture with the shader cache cold   the same capture with Mesa's on-disk cache in a fresh,
#                                        empty directory: every program compiled from scratch
# The machine is shared: CPU times are the figures to compare, walls only beside them.
#   scripts/measure_all.sh [runs]      (default 5)
set -euo pipefail
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build-release}"
data="${KESTRUM_TESTDATA:-$(cd .. && pwd)/shared/testdata}/u3d"
runs="${1:-5}"
kestrum="$build/tools/kestrum"
bench="$build/bench/bench_u3d_decode"
for f in "$kestrum" "$bench"; do [ -x "$f" ] || { echo "no $f: build it first" >&2; exit 1; }; done
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT

median() { sort -g | awk '{ v[NR] = $1 } END { if (NR == 0) print "n/a"; else if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# Median CPU milliseconds of one decode benchmark.
decode_ms() {
  "$bench" --benchmark_filter="^$1\$" --benchmark_repetitions="$runs" --benchmark_report_aggregates_only=true \
    --benchmark_format=csv 2>/dev/null | awk -F, '$1 ~ /_median"?$/ { print $4 }'
}

# One capture: "cpu_seconds wall_seconds peak_kB" on standard output. A second argument is
# the directory for Mesa's shader cache instead of its usual one.
capture() {
  local cache=()
  [ $# -lt 2 ] || cache=("MESA_SHADER_CACHE_DIR=$2")
  /usr/bin/time -v env "${cache[@]}" "$kestrum" capture "$1" --size 1024x768 -o "$out/shot.png" >/dev/null 2>"$out/time.txt" ||
    { cat "$out/time.txt" >&2; exit 1; }
  awk -F': ' '/User time/ { u = $2 } /System time/ { s = $2 } /Maximum resident/ { r = $2 }
    /Elapsed \(wall clock\)/ { n = split($2, p, ":"); w = 0; for (i = 1; i <= n; ++i) w = w * 60 + p[i] }
    END { printf "%.3f %.3f %d\n", u + s, w, r }' "$out/time.txt"
}

# CreateTextures milliseconds from the load profile the library prints at log level 5.
texture_ms() {
  "$kestrum" --log-level 5 capture "$data/TextureLayers.u3d" --size 64x64 -o "$out/tex.png" >"$out/tex.txt" 2>&1 ||
    { cat "$out/tex.txt" >&2; exit 1; }
  awk '/BuildSceneGraph::CreateTextures/ { print $(NF - 1); exit }' "$out/tex.txt"
}

echo "measuring in $build, $runs runs each (load average $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores)" >&2
head_ms=$(decode_ms BM_DecodeHead)
bearing_ms=$(decode_ms BM_DecodeBearing)
: >"$out/head"; : >"$out/idle"; : >"$out/tex"; : >"$out/cold"
for _ in $(seq "$runs"); do
  capture "$data/head.u3d" >>"$out/head"
  rm -rf "$out/shader-cache"
  capture "$data/head.u3d" "$out/shader-cache" >>"$out/cold"
  capture "$data/box.u3d" >>"$out/idle"
  texture_ms >>"$out/tex"
done
cap_cpu=$(cut -d' ' -f1 "$out/head" | median)
cap_wall=$(cut -d' ' -f2 "$out/head" | median)
cap_rss=$(cut -d' ' -f3 "$out/head" | median)
idle_rss=$(cut -d' ' -f3 "$out/idle" | median)
tex_ms=$(median <"$out/tex")
cold_cpu=$(cut -d' ' -f1 "$out/cold" | median)
cold_wall=$(cut -d' ' -f2 "$out/cold" | median)

printf '%-46s %-12s %s\n' "aim" "target" "now (median of $runs)"
printf '%-46s %-12s %s ms CPU\n' "decode head.u3d (bench_u3d_decode)" "<= 100 ms" "$head_ms"
printf '%-46s %-12s %s ms CPU\n' "decode bearing.u3d (bench_u3d_decode)" "<= 20 ms" "$bearing_ms"
printf '%-46s %-12s %s s CPU (user+sys), %s s wall\n' "capture head.u3d 1024x768, whole process" "<= 0.34 s" \
  "$cap_cpu" "$cap_wall"
printf '%-46s %-12s %s s CPU (user+sys), %s s wall\n' "  the same, Mesa shader cache cold" "-" "$cold_cpu" "$cold_wall"
printf '%-46s %-12s %d MB\n' "capture head.u3d 1024x768, peak RSS" "<= 100 MB" $((${cap_rss%.*} / 1024))
printf '%-46s %-12s %d MB (idle %d MB)\n' "peak RSS above idle (after context creation)" "<= 64 MB" \
  $(((${cap_rss%.*} - ${idle_rss%.*}) / 1024)) $((${idle_rss%.*} / 1024))
printf '%-46s %-12s %s ms wall\n' "TextureLayers.u3d CreateTextures (profile)" "< 10 ms" "$tex_ms"
