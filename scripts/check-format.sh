#!/usr/bin/env bash
# Fails when any C++ file differs from what clang-format makes of it.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.hpp' '*.h' '*.cc')
[ -z "$files" ] && exit 0
# shellcheck disable=SC2086
clang-format --dry-run --Werror $files
echo "check-format: $(echo "$files" | wc -w) files formatted"
