#!/usr/bin/env bash
# Installs the built library into a temporary prefix, then builds and runs a program that
# finds it through find_package(RDXGlobalLib) and through pkg-config.
set -euo pipefail
build=$1
consumer=$2
cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$consumer" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/build/consumer"
export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046
"$cxx" "$consumer/main.cpp" -o "$work/consumer-pc" $(pkg-config --cflags --libs RDXGlobalLib)
LD_LIBRARY_PATH="$work/prefix/lib" "$work/consumer-pc"
