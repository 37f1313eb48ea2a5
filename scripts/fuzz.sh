#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time.
# Usage: scripts/fuzz.sh [seconds per target, default 60]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)" --target recipe_json_fuzzer
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp fuzz/corpus/recipe/* "$work"/
build/fuzz/fuzz/recipe_json_fuzzer -max_total_time="$seconds" -max_len=4096 \
  -print_final_stats=1 "$work" 2>&1 | tail -n 12
