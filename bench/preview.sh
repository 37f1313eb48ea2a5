#!/usr/bin/env bash
# Times the live preview of the application model headless on the corpus (camera-sized JPEGs,
# contact preset): from adding the files to the first page on screen and to every row listed;
# a jump to a page far from the first until it shows; then, on the first page again, a
# caption-colour edit, a spacing edit, a columns edit (3 to 4) and a paper edit (A4 to Letter),
# each from the edit to its page on screen (the model's 280 ms wait for further edits
# included); and the model's peak memory and the longest time its event loop went without
# turning.
#
#   bench/preview.sh [--reps N] [--build DIR] [--count N] [--raw]
#
#   --reps N     runs, each in a fresh process (default 3); the last line gives the medians
#   --build DIR  a configured build tree to use (default build/release, made when missing)
#   --count N    how many files to add (default 48). Up to 480 they are corpus files; beyond
#                that the corpus's 480 files are listed again under new names, as hard links
#                in bench/corpus/links/, so that nothing large is written.
#   --raw        camera RAW files instead: the 48 DNGs with full-size previews that
#                bench/make-raw-corpus.sh makes, listed again under new names beyond 48
#
# The last line reads:
#   preview first=S caption=S spacing=S columns=S paper=S turn=S listed=S peakMB=M stallMS=M
set -euo pipefail

reps=3
build=""
count=48
raw=0
while [ $# -gt 0 ]; do
  case $1 in
    --reps) reps=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --count) count=$2; shift 2 ;;
    --raw) raw=1; shift ;;
    -h | --help) sed -n '2,21p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "preview: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
if [ -z "$build" ]; then
  build=$repo/build/release
  [ -f "$build/CMakeCache.txt" ] || (cd "$repo" && cmake --preset release >/dev/null)
fi
cmake --build "$build" --target tessel_bench_model | tail -1

if [ "$raw" = 1 ]; then
  "$here/make-raw-corpus.sh" --build "$build"
  mapfile -t files < <(find "$here/corpus/raw24" -maxdepth 1 -name '[0-9][0-9][0-9]_*.dng' | sort | head -n "$count")
  links=$here/corpus/rawlinks
else
  corpusCount=$((count < 480 ? count : 480))
  "$here/make-corpus.sh" "$corpusCount"
  mapfile -t files < <(find "$here/corpus/cam24" -maxdepth 1 -name '[0-9][0-9][0-9]_*.jpg' | sort | head -n "$count")
  links=$here/corpus/links
fi
if [ "$count" -gt "${#files[@]}" ]; then
  # More names for the same files: hard links on the corpus's own file system.
  mkdir -p "$links"
  originals=("${files[@]}")
  for ((i = ${#files[@]}; i < count; i++)); do
    source=${originals[$((i % ${#originals[@]}))]}
    link=$(printf '%s/%05d_%s' "$links" "$((i + 1))" "$(basename "$source")")
    [ -e "$link" ] || ln "$source" "$link"
    files+=("$link")
  done
fi
echo "preview: $(nproc) processors, load $(cut -d' ' -f1-3 /proc/loadavg), ${#files[@]} files of $(du -ch "${files[@]}" | tail -1 | cut -f1)"
bench=$(find "$build" -type f -name tessel_bench_model -perm -u+x | head -1)
# Each run opens the shoot for the first time: an empty shared thumbnail cache of its own, so
# that thumbnails are decoded (bench/shared-thumbnails.sh times them from the cache).
cache=$(mktemp -d)
trap 'rm -rf "$cache"' EXIT
lines=()
for ((rep = 1; rep <= reps; rep++)); do
  rm -rf "${cache:?}/thumbnails"
  output=$(XDG_CACHE_HOME=$cache QT_QPA_PLATFORM=offscreen "$bench" --edits "${files[@]}")
  line=$(tail -1 <<<"$output")
  echo "run $rep: ${line#preview }"
  grep '^thumbnails:' <<<"$output" | sed 's/^/       /'
  lines+=("$line")
done
# The median of each field over the runs.
printf '%s\n' "${lines[@]}" | awk '
  { for (i = 2; i <= NF; i++) { split($i, kv, "="); key[i] = kv[1]; value[i, NR] = kv[2] } fields = NF }
  END {
    line = "preview"
    for (i = 2; i <= fields; i++) {
      n = 0
      for (r = 1; r <= NR; r++) sorted[++n] = value[i, r]
      for (a = 1; a <= n; a++) for (b = a + 1; b <= n; b++) if (sorted[b] + 0 < sorted[a] + 0) { t = sorted[a]; sorted[a] = sorted[b]; sorted[b] = t }
      line = line " " key[i] "=" sorted[int((n + 1) / 2)]
    }
    print line
  }'
