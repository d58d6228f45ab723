#!/usr/bin/env bash
# Builds the library and runs its demonstration program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target rdx-demo
exec build/default/tools/rdx-demo "$@"
