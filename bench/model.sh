#!/usr/bin/env bash
# Times the application model headless on the corpus: 48 camera-sized JPEGs added as one
# batch, until every item is listed and until the first preview; then one caption-colour edit
# until its preview.
#
#   bench/model.sh [--reps N] [--build DIR] [--count N]
#
#   --reps N     repetitions (default 3); the last line shows medians
#   --build DIR  a configured build tree to use (default build/release, made when missing)
#   --count N    how many corpus files to add (default 48; make-corpus.sh makes up to any count)
#
# Builds tessel_bench_model when needed and the corpus (bench/make-corpus.sh) when it is missing.
set -euo pipefail

reps=3
build=""
count=48
while [ $# -gt 0 ]; do
  case $1 in
    --reps) reps=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --count) count=$2; shift 2 ;;
    -h | --help) sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "model: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
if [ -z "$build" ]; then
  build=$repo/build/release
  [ -f "$build/CMakeCache.txt" ] || (cd "$repo" && cmake --preset release >/dev/null)
fi
cmake --build "$build" --target tessel_bench_model | tail -1

"$here/make-corpus.sh" "$count"
mapfile -t files < <(find "$here/corpus/cam24" -maxdepth 1 -name '[0-9][0-9][0-9]_*.jpg' | sort | head -n "$count")
echo "model: $(nproc) processors, ${#files[@]} files of $(du -ch "${files[@]}" | tail -1 | cut -f1)"
# No shared thumbnail cache (its folder cannot be made under /dev/null): every repetition
# decodes its thumbnails, as a first opening does.
XDG_CACHE_HOME=/dev/null QT_QPA_PLATFORM=offscreen \
  "$(find "$build" -type f -name tessel_bench_model -perm -u+x | head -1)" --reps "$reps" "${files[@]}"
