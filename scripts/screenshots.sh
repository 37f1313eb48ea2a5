#!/usr/bin/env bash
# Pictures the desktop application in the states shown in docs/screenshots/ and the README:
# the empty window, a three-page preview (light and dark), custom paper without captions, a
# validation message, the save dialog and the settings window. Builds what it needs, makes
# sample photographs unless a folder of images is given, and runs the window under Xvfb.
# Usage: scripts/screenshots.sh [IMAGES_FOLDER] [OUTPUT_FOLDER, default docs/screenshots]
set -euo pipefail
cd "$(dirname "$0")/.."
images="${1:-}"
output="${2:-docs/screenshots}"

if [ ! -f build/dev/build.ninja ]; then cmake --preset dev; fi
cmake --build --preset dev --target window_screenshots
program=build/dev/app/window_screenshots

if [ -z "$images" ]; then
  # Thirty landscapes and portraits: a sky gradient over plasma ground, each from its own seed,
  # so the same pictures come back on every run.
  images=build/screenshots/photos
  mkdir -p "$images"
  palettes=(
    "#5d8fd0 #dbe8f5 #3d6b2a #a4b85c"
    "#f49d52 #fde3b0 #4a3b2a #8a6d4c"
    "#7fb2e5 #f0f6fb #1f5f8b #7cc0d8"
    "#9fb4c8 #eef2f6 #c9d3dc #ffffff"
    "#6a8caf #cfdbe6 #1e3d1e #55794a"
    "#3f7cc4 #cfe3f5 #b5783a #e8c27a"
  )
  for i in $(seq 1 30); do
    file="$images/$(printf 'IMG_%04d' $((4100 + i))).jpg"
    [ -f "$file" ] && continue
    read -r sky1 sky2 ground1 ground2 <<<"${palettes[$((i % ${#palettes[@]}))]}"
    if [ $((i % 4)) -eq 0 ]; then width=600 height=900; else width=900 height=600; fi
    convert \( -size "${width}x$((height * 2 / 5))" "gradient:$sky1-$sky2" \) \
            \( -seed "$i" -size "${width}x$((height - height * 2 / 5))" "plasma:$ground1-$ground2" \
               -blur 0x1.5 -modulate 100,55 \) \
            -append -quality 88 "$file"
  done
fi

mkdir -p "$output"
if command -v xvfb-run >/dev/null; then
  xvfb-run -a -s "-screen 0 1600x1000x24" "$program" "$output" "$images"
else
  QT_QPA_PLATFORM=offscreen "$program" "$output" "$images"
fi
