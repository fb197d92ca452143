#!/usr/bin/env bash
# Installs the build in ./build (BUILD_DIR) into a temporary prefix and checks the installed
# tree as a user of the package meets it: the library's SONAME, nothing of the tests installed,
# the installed kestrum loading the installed library, and the consumer project of
# tests/consumer built once through find_package(Kestrum) and once through pkg-config, each
# capturing scenes/sample.u3d into a PNG. Takes seconds; the build must be up to date.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${BUILD_DIR:-build}
[ -f "$build/build.ninja" ] || { echo "check_install.sh: no build in $build: build first" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
fail() { echo "check_install.sh: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log" >&2; exit 1; }

# The library by its link name, and the SONAME the link name leads to.
library=$(find "$prefix" -name 'libKestrum13-32.so' | head -n 1)
[ -n "$library" ] || fail "libKestrum13-32.so not installed"
libdir=$(dirname "$library")
soname=$(objdump -p "$library" | awk '$1 == "SONAME" { print $2 }')
[ -n "$soname" ] || fail "$library has no SONAME"
[ -e "$libdir/$soname" ] || fail "no $soname beside $library"

strays=$(find "$prefix" \( -name 'test_*' -o -name 'fuzz_*' -o -name 'bench_*' -o -name '*.a' \
  -o -name 'make_sample_scene' \) -print)
[ -z "$strays" ] || fail "installed but not part of the package: $strays"
for file in include/Kestrum.h bin/kestrum share/man/man1/kestrum.1 share/kestrum/sample.u3d; do
  [ -s "$prefix/$file" ] || fail "$file not installed"
done

# The installed kestrum loads the installed library, not the build tree's.
loaded=$("$prefix/bin/kestrum" --version | head -n 1)
[ "$(realpath "$loaded")" = "$(realpath "$libdir/$soname")" ] || fail "installed kestrum loaded $loaded"

# The manual page formats without warnings, where groff is at hand.
if command -v groff >/dev/null; then
  warnings=$(LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z "$prefix/share/man/man1/kestrum.1" 2>&1)
  [ -z "$warnings" ] || fail "kestrum.1: $warnings"
fi

scene="$root/scenes/sample.u3d"
# A picture file that is there, not empty and a PNG.
check_picture() {
  [ -s "$1" ] || fail "no picture $1"
  [ "$(head -c 4 "$1" | tail -c 3)" = PNG ] || fail "$1 is not a PNG"
}
check_capture() {
  local program=$1 picture=$2
  "$program" "$scene" "$picture" Front >"$work/run.log" 2>&1 || { cat "$work/run.log" >&2; fail "$program failed"; }
  check_picture "$picture"
}

"$prefix/bin/kestrum" capture "$scene" -o "$work/kestrum.png" --size 320x240 >"$work/run.log" 2>&1 ||
  { cat "$work/run.log" >&2; fail "installed kestrum failed to capture"; }
check_picture "$work/kestrum.png"

# Once with CMake's package ...
cmake -S "$root/tests/consumer" -B "$work/with-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release >"$work/cmake.log" || { cat "$work/cmake.log" >&2; exit 1; }
cmake --build "$work/with-cmake" >>"$work/cmake.log" || { cat "$work/cmake.log" >&2; exit 1; }
check_capture "$work/with-cmake/kestrum_consumer" "$work/with-cmake.png"

# ... and once with pkg-config alone.
export PKG_CONFIG_PATH="$libdir/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
pkg-config --exists kestrum || fail "pkg-config does not find kestrum"
# shellcheck disable=SC2046 # the flags are meant to split
cc -std=c11 -Wall -Wextra -Werror -o "$work/with-pkg-config" "$root/tests/consumer/main.c" \
  $(pkg-config --cflags --libs kestrum) -pthread -Wl,-rpath,"$(pkg-config --variable=libdir kestrum)"
check_capture "$work/with-pkg-config" "$work/with-pkg-config.png"

echo "check_install.sh: installed tree and both consumer builds OK (library $soname)"
