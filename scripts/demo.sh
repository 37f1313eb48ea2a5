#!/usr/bin/env bash
# Makes a few sample photographs, turns them into a contact sheet with the built tessel-sheet
# and renders its first page as a PNG. Needs no display.
# Usage: scripts/demo.sh [path to tessel-sheet, default build/dev/cli/tessel-sheet]
set -euo pipefail
cd "$(dirname "$0")/.."
tool="${1:-build/dev/cli/tessel-sheet}"
if [ ! -x "$tool" ]; then
  echo "demo: $tool is missing; build first (cmake --preset dev && cmake --build --preset dev)" >&2
  exit 1
fi

demo=build/demo
photos="$demo/photos"
mkdir -p "$photos"

# Landscapes: a sky gradient over plasma ground, each from its own seed and palette, so the
# same pictures come back on every run. ImageMagick makes them; no fonts are needed.
scenes=(
  "meadow  #5d8fd0 #dbe8f5 #3d6b2a #a4b85c 640"
  "dusk    #f49d52 #fde3b0 #4a3b2a #8a6d4c 640"
  "coast   #7fb2e5 #f0f6fb #1f5f8b #7cc0d8 640"
  "snow    #9fb4c8 #eef2f6 #c9d3dc #ffffff 640"
  "forest  #6a8caf #cfdbe6 #1e3d1e #55794a 640"
  "desert  #3f7cc4 #cfe3f5 #b5783a #e8c27a 640"
  "tower   #4f7fb8 #d8e6f3 #5a5a5a #a8a29a 420"
)
i=0
for scene in "${scenes[@]}"; do
  read -r name sky1 sky2 ground1 ground2 width <<<"$scene"
  i=$((i + 1))
  file="$photos/$(printf '%02d' "$i")-$name.jpg"
  [ -f "$file" ] && continue
  height=$((width == 640 ? 427 : 600))
  convert \( -size "${width}x$((height * 2 / 5))" "gradient:$sky1-$sky2" \) \
          \( -seed "$i" -size "${width}x$((height - height * 2 / 5))" "plasma:$ground1-$ground2" \
             -blur 0x1.5 -modulate 100,55 \) \
          -append -quality 90 "$file"
done

sheet="$demo/sheet"
rm -rf "$sheet"
echo "demo: $("$tool" --version) on $(ls "$photos" | wc -l) sample photographs in $photos"
"$tool" --preset contact --output-dir "$sheet" --name "Demo Contact Sheet" "$photos" | tee "$demo/output.txt"
pdf=$(sed -n 2p "$demo/output.txt")
pdftoppm -png -r 60 -f 1 -l 1 -singlefile "$pdf" "$sheet/page-1"
echo "demo: the sheet is $pdf"
echo "demo: its first page as an image is $(realpath "$sheet/page-1.png")"
