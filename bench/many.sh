#!/usr/bin/env bash
# Times one PDF of thousands of eight-megapixel photographs against one of 48, to show that a
# large job costs no more per image and that memory stays flat: wall time, seconds per image
# and peak resident memory (/usr/bin/time -v) of tessel-sheet for each count.
#
#   bench/many.sh [--count N] [--distinct N] [--tessel PATH]
#
#   --count N     images in the large job (default 3000)
#   --distinct N  distinct files behind them (default 96), listed over and over
#   --tessel PATH the tessel-sheet to time (default build/release, built when missing)
#
# The 8-megapixel files (3464 × 2309, baseline JPEG quality 90) are made once with libvips from
# the corpus (bench/make-corpus.sh) into $TMPDIR/tessel-bench-cam8; sheets go to a scratch
# folder that is removed afterwards.
set -euo pipefail

count=3000
distinct=96
tessel=""
while [ $# -gt 0 ]; do
  case $1 in
    --count) count=$2; shift 2 ;;
    --distinct) distinct=$2; shift 2 ;;
    --tessel) tessel=$2; shift 2 ;;
    -h | --help) sed -n '2,14p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "many: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
if [ -z "$tessel" ]; then
  build=$repo/build/release
  [ -f "$build/CMakeCache.txt" ] || (cd "$repo" && cmake --preset release >/dev/null)
  cmake --build "$build" --target tessel-sheet | tail -1
  tessel=$build/cli/tessel-sheet
fi

"$here/make-corpus.sh" "$distinct" >/dev/null
cam8=${TMPDIR:-/tmp}/tessel-bench-cam8
mkdir -p "$cam8"
mapfile -t sources < <(find "$here/corpus/cam24" -maxdepth 1 -name '[0-9][0-9][0-9]_*.jpg' | sort | head -n "$distinct")
files=()
for src in "${sources[@]}"; do
  out=$cam8/$(basename "$src")
  [ -f "$out" ] || vips thumbnail "$src" "$out[Q=90]" 3464 --height 3464 --size down 2>/dev/null
  files+=("$out")
done

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
run() { # label count
  local label=$1 n=$2 list=() i
  for ((i = 0; i < n; i++)); do list+=("${files[i % ${#files[@]}]}"); done
  /usr/bin/time -v "$tessel" --output-dir "$scratch/$label" "${list[@]}" \
    >"$scratch/$label.out" 2>"$scratch/$label.time"
  local wall rss
  wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$scratch/$label.time" |
    awk -F: '{ s = 0; for (i = 1; i <= NF; i++) s = s * 60 + $i; print s }')
  rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$scratch/$label.time")
  printf '%-6s %6d images  %8.1f s  %7.4f s/image  peak %6.0f MB  %s pages\n' "$label" "$n" \
    "$wall" "$(echo "$wall / $n" | bc -l)" "$(echo "$rss / 1024" | bc -l)" \
    "$(pdfinfo "$scratch/$label/Contact Sheet.pdf" | sed -n 's/^Pages: *//p')"
}
echo "many: $(nproc) processors, $tessel"
run small 48
run large "$count"
