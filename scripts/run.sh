#!/usr/bin/env bash
# Sets up a fresh machine, builds Tessel and runs its main job: with a display (DISPLAY or
# WAYLAND_DISPLAY set), the desktop application, opened on the demo's sample photographs unless
# files are given; without one, the demo contact sheet made by tessel-sheet.
# Usage: scripts/run.sh [FILE...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset dev
# Only what runs here: the application and tessel-sheet, not the test suites.
cmake --build --preset dev -j "$(nproc)" --target tessel tessel-sheet
scripts/demo.sh
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  if [ $# -eq 0 ]; then set -- build/demo/photos; fi
  exec build/dev/app/tessel "$@"
fi
