#!/usr/bin/env bash
# Sets up a fresh machine, builds Tessel and runs its main job. Until the desktop application
# exists this makes a demo contact sheet from generated sample photographs with tessel-sheet.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset dev
cmake --build --preset dev -j "$(nproc)"
scripts/demo.sh
