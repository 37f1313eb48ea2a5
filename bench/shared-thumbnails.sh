#!/usr/bin/env bash
# Times the image list's thumbnails of a large shoot with the desktop's shared thumbnail cache
# (~/.cache/thumbnails): from adding the files to every row listed and to every row's
# thumbnail, in a fresh process each time, on the corpus's camera-sized JPEGs.
#
#   bench/shared-thumbnails.sh [--count N] [--build DIR]
#
#   --count N    how many files (default 3000): the corpus's files, then the same files again
#                under new names (hard links in bench/corpus/links/, as bench/preview.sh makes)
#   --build DIR  a configured build tree (default build/release, made when missing)
#
# Three openings, each with a cache of its own:
#   first     an empty cache: every thumbnail decoded from its photo (and written to the cache)
#   again     the cache the first opening filled: a second opening of a shoot Tessel showed
#   desktop   a cache filled by another program, as a file manager's thumbnailer fills it:
#             `large` PNGs of 256 pixels made by vipsthumbnail, their Thumb::URI, Thumb::MTime
#             and Thumb::Size keys added by a few lines of Python (bench/thumbnail-keys.py)
# Each line reads: thumbnails listed=S all=S made=N of=N (seconds from adding).
set -euo pipefail

count=3000
build=""
while [ $# -gt 0 ]; do
  case $1 in
    --count) count=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    -h | --help) sed -n '2,20p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "shared-thumbnails: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
if [ -z "$build" ]; then
  build=$repo/build/release
  [ -f "$build/CMakeCache.txt" ] || (cd "$repo" && cmake --preset release >/dev/null)
fi
cmake --build "$build" --target tessel_bench_model | tail -1
bench=$(find "$build" -type f -name tessel_bench_model -perm -u+x | head -1)

"$here/make-corpus.sh" 48
mapfile -t originals < <(find "$here/corpus/cam24" -maxdepth 1 -name '[0-9][0-9][0-9]_*.jpg' | sort)
files=("${originals[@]:0:$count}")
links=$here/corpus/links
mkdir -p "$links"
for ((i = ${#files[@]}; i < count; i++)); do
  source=${originals[$((i % ${#originals[@]}))]}
  link=$(printf '%s/%05d_%s' "$links" "$((i + 1))" "$(basename "$source")")
  [ -e "$link" ] || ln "$source" "$link"
  files+=("$link")
done

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
echo "shared-thumbnails: $(nproc) processors, load $(cut -d' ' -f1-3 /proc/loadavg), ${#files[@]} files"

opening() { # NAME CACHE
  printf '%-8s ' "$1"
  XDG_CACHE_HOME=$2 QT_QPA_PLATFORM=offscreen "$bench" --thumbnails "${files[@]}" | tail -1
}

opening first "$scratch/tessel"
opening again "$scratch/tessel"

# Another program's entries: one picture per photograph, its keys written for every name.
mkdir -p "$scratch/pictures" "$scratch/desktop/thumbnails/large"
for source in "${originals[@]}"; do
  vipsthumbnail "$source" --size 256 -o "$scratch/pictures/$(basename "$source" .jpg).png" 2>/dev/null
done
printf '%s\n' "${files[@]}" |
  python3 "$here/thumbnail-keys.py" "$scratch/pictures" "$scratch/desktop/thumbnails/large"
opening desktop "$scratch/desktop"
