#!/usr/bin/env bash
# Formats every C++ file of the tree with the root .clang-format. With --check it changes
# nothing and fails, listing the files, when any file differs from its formatted form.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = --check ]; then
  drift=$(clang-format --dry-run "${files[@]}" 2>&1 | grep -o '^[^:]*\.\(cpp\|h\):' | sort -u || true)
  [ -z "$drift" ] && exit 0
  echo "not formatted (scripts/format.sh formats them):" >&2
  echo "$drift" | tr -d ':' >&2
  exit 1
fi
clang-format -i "${files[@]}"
