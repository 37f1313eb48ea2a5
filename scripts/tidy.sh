#!/usr/bin/env bash
# Runs clang-tidy (the repository's .clang-tidy) over the project's own sources with clang's
# compile commands (the "tidy" preset, configured only). Fails on any finding, and when
# clang-tidy is not installed.
set -euo pipefail
cd "$(dirname "$0")/.."
for tool in clang-tidy run-clang-tidy; do
  command -v "$tool" >/dev/null || { echo "tidy: $tool is missing (scripts/install-deps.sh)" >&2; exit 1; }
done
cmake --preset tidy >/dev/null
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
run-clang-tidy -p build/tidy -quiet -j "$(nproc)" "^$PWD/(core|cli|app|bench)/" >"$log" 2>&1 || status=$?
if grep -E '(warning|error):' "$log"; then
  echo "tidy: findings above" >&2
  exit 1
fi
if [ "$status" != 0 ]; then
  cat "$log" >&2
  echo "tidy: clang-tidy failed" >&2
  exit 1
fi
echo "tidy: $(grep -c '"file"' build/tidy/compile_commands.json) compile commands, no findings"
