#!/usr/bin/env bash
# Installs the built library into a temporary prefix, runs an installed program from there,
# then builds and runs a program that finds the library through find_package(RDXGlobalLib) and
# through pkg-config, as C++17 and as C++20.
set -euo pipefail
build=$1
consumer=$2
cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
# No LD_LIBRARY_PATH: the program must find the library relative to its own folder. Its
# --help ends with status 2 like any usage text, so the text itself is the proof it ran.
usage=$(env -u LD_LIBRARY_PATH "$work/prefix/bin/rdx-refserver" --help 2>&1 || true)
grep -q '^usage: rdx-refserver' <<<"$usage" || { echo "$usage"; exit 1; }
export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
for standard in 17 20; do
  cmake -S "$consumer" -B "$work/build$standard" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_CXX_STANDARD="$standard" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
  cmake --build "$work/build$standard" >/dev/null
  LD_LIBRARY_PATH="$work/prefix/lib" "$work/build$standard/consumer"
  # shellcheck disable=SC2046
  "$cxx" -std=c++$standard "$consumer/main.cpp" -o "$work/consumer-pc$standard" \
    $(pkg-config --cflags --libs RDXGlobalLib)
  LD_LIBRARY_PATH="$work/prefix/lib" "$work/consumer-pc$standard"
done
