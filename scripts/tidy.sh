#!/usr/bin/env bash
# Runs clang-tidy (the repo's .clang-tidy) over the project's sources.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/dev/compile_commands.json ] || cmake --preset dev >/dev/null
run-clang-tidy -p build/dev -quiet -j "$(nproc)" '/(core|cli|app)/' 2>&1 | grep -E '(warning|error):' && exit 1
echo "tidy: clean"
