#!/usr/bin/env bash
# Builds the library and runs every test. With CI=true (or --full) it then builds the API
# reference (Doxygen; a warning fails), builds again with AddressSanitizer and
# UndefinedBehaviorSanitizer and runs the tests under them, runs the
# reporting tests under ThreadSanitizer, builds with clang to keep it warning-free, and runs
# each fuzz target for a bounded time.
set -euo pipefail
cd "$(dirname "$0")/.."
full=false
[ "${CI:-}" = true ] && full=true
# In CI the service tests must run against the systemd they boot: a skip there is a failure.
[ "${CI:-}" = true ] && export RDX_REQUIRE_SYSTEMD=1
[ "${1:-}" = --full ] && full=true

scripts/setup.sh

step() { printf '\n== %s ==\n' "$*"; }

step "g++ build and tests"
cmake --preset default
cmake --build --preset default
ctest --preset default

$full || exit 0

step "formatting (the tree matches .clang-format)"
scripts/format.sh --check

step "API reference (Doxygen; warnings fail)"
cmake --build --preset default --target docs

step "AddressSanitizer and UndefinedBehaviorSanitizer"
cmake --preset sanitize
cmake --build --preset sanitize
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --preset sanitize

step "ThreadSanitizer (reporting)"
cmake --preset tsan
cmake --build --preset tsan --target reporting_tests
TSAN_OPTIONS=halt_on_error=1 ctest --preset tsan

step "fuzz targets, bounded"
cmake --preset fuzz
cmake --build --preset fuzz
for target in build/fuzz/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  corpus=$(mktemp -d)
  seeds=fuzz/corpus/${name#fuzz_}
  [ -d "$seeds" ] && cp -r "$seeds"/. "$corpus"/
  echo "$name"
  "$target" -seed=1 -max_total_time="${RDX_FUZZ_SECONDS:-45}" -max_len=65536 "$corpus" 2>&1 | tail -n 3
  rm -rf "$corpus"
done
echo "all checks passed"
