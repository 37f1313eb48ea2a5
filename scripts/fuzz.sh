#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time: the recipe's JSON,
# the JPEG, PNG, GIF and HEIF container walks, inspection of arbitrary bytes, and camera RAW
# files (inspection, thumbnail, page picture). Seeds come
# from fuzz/corpus/ and, when present, from the real-world files in ../shared/fixtures (or
# $TESSEL_FIXTURES_DIR) of each target's formats.
# Usage: scripts/fuzz.sh [seconds per target, default 30]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"
fixtures="${TESSEL_FIXTURES_DIR:-$(cd .. && pwd)/shared/fixtures}"
# target, then the extensions of its seeds among the fixtures
targets=(
  "recipe_json_fuzzer recipe"
  "jpeg_walk_fuzzer jpg jpeg"
  "png_walk_fuzzer png apng"
  "gif_walk_fuzzer gif"
  "heif_walk_fuzzer heic heif avif"
  "inspect_fuzzer jpg jpeg png gif heic heif tif tiff webp"
  "raw_fuzzer dng nef cr2 crw kdc gpr"
)
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)" --target $(for t in "${targets[@]}"; do echo "${t%% *}"; done)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for entry in "${targets[@]}"; do
  read -r target extensions <<<"$entry"
  seeds=$work/$target
  mkdir -p "$seeds"
  for extension in $extensions; do
    if [ "$extension" = recipe ]; then
      cp fuzz/corpus/recipe/* "$seeds"/
      continue
    fi
    # Real files under 2 MB (their names made unique: the same name occurs in several folders).
    for dir in fuzz/corpus/images "$fixtures"; do
      [ -d "$dir" ] || continue
      find "$dir" -type f -iname "*.$extension" -size -2M -print0 |
        while IFS= read -r -d '' file; do cp "$file" "$seeds/$(echo "$file" | md5sum | cut -c1-12)-$(basename "$file")"; done
    done
  done
  echo "=== $target ($(find "$seeds" -type f | wc -l) seeds, $seconds s)"
  # No input of 64 KB has a reason to ask for a gigabyte at once: such a request is a finding
  # even when the memory is never touched.
  build/fuzz/fuzz/$target -max_total_time="$seconds" -max_len=65536 -rss_limit_mb=2048 -malloc_limit_mb=1024 \
    -timeout=10 -print_final_stats=1 "$seeds" 2>&1 | tail -n 6
done
