#!/usr/bin/env bash
# Sets up a fresh machine, builds Tessel and runs every test suite.
# Usage: scripts/test.sh [preset]   (preset: dev (default) or asan)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-dev}"
scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset" -j "$(nproc)"
