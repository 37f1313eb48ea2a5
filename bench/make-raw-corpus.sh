#!/usr/bin/env bash
# Builds the camera RAW benchmark corpus: DNG files made from the JPEG corpus's photographs
# (bench/make-corpus.sh), as no modern camera's RAW files can be had with a clear licence.
#
#   bench/make-raw-corpus.sh [--build DIR]
#
#   --build DIR  a configured build tree with tessel_bench_make_dng (default build/release)
#
# Idempotent: files that already exist are kept. What it makes (bench/corpus/, ignored by git):
#   raw24/NNN_*.dng   the first 48 photographs, 6000 x 4000 sensor data (8-bit samples, so
#                     about the size of a real camera's file) with a full-size JPEG preview
#                     (quality 92), stored sideways with orientation 6 where the JPEG was:
#                     what a 24-megapixel camera writes. Pages draw them from their previews.
#   rawdev/NNN_*.dng  the first 12 again with only a 256-pixel preview: pages develop their
#                     sensor data.
#   raw24/previews.tsv, rawdev/previews.tsv
#                     file, offset and length of each JPEG preview, for the floor that cuts the
#                     preview out with dd and decodes it with djpeg.
#
# Needs: libimage-exiftool-perl (offsets), the JPEG corpus (made when missing).
set -euo pipefail

build=""
while [ $# -gt 0 ]; do
  case $1 in
    --build) build=$2; shift 2 ;;
    -h | --help) sed -n '2,22p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "make-raw-corpus: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
if [ -z "$build" ]; then
  build=$repo/build/release
  [ -f "$build/CMakeCache.txt" ] || (cd "$repo" && cmake --preset release >/dev/null)
fi
cmake --build "$build" --target tessel_bench_make_dng | tail -1
make=$(find "$build" -type f -name tessel_bench_make_dng -perm -u+x | head -1)
"$here/make-corpus.sh" 48

root=$here/corpus
# make FOLDER COUNT PREVIEW: the first COUNT corpus files as DNGs with a PREVIEW-pixel preview.
make() {
  local folder=$root/$1 count=$2 preview=$3
  mkdir -p "$folder"
  sed -n "2,$((count + 1))p" "$root/MANIFEST.tsv" | while IFS=$'\t' read -r file _ _ _ orientation _; do
    local target=$folder/${file%.jpg}.dng
    [ -s "$target" ] && continue
    "$make" "$root/cam24/$file" "$target.part" "$preview" "$orientation"
    mv "$target.part" "$target"
  done
  if [ ! -s "$folder/previews.tsv" ] || [ "$folder/previews.tsv" -ot "$folder" ]; then
    exiftool -q -T -FileName -PreviewImageStart -PreviewImageLength "$folder"/*.dng |
      sort >"$folder/previews.tsv"
  fi
  echo "make-raw-corpus: $(find "$folder" -name '*.dng' | wc -l) files in $folder ($(du -sh "$folder" | cut -f1))"
}
make raw24 48 6000
make rawdev 12 256
