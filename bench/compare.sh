#!/usr/bin/env bash
# Times tessel-sheet against ImageMagick, libvips and a bare JPEG-decode floor on the same
# 24-megapixel files, and measures how tessel-sheet's memory grows with the page count.
#
#   bench/compare.sh [--reps N] [--no-memory] [--no-raw] [--peers-only] [--stages] [--tessel PATH]
#
#   --reps N       repetitions of every timed job (default 3); the table shows medians
#   --no-memory    skip the 480-file memory run
#   --no-raw       skip the camera RAW rows (DNGs made by bench/make-raw-corpus.sh)
#   --peers-only   time only the peers and the floor (no build of tessel-sheet)
#   --stages       also run the stage micro-benchmark (tessel_bench_stages) on a corpus file
#   --tessel PATH  time this tessel-sheet instead of building build/release
#
# Builds the release preset's tessel-sheet when needed and the corpus (bench/make-corpus.sh)
# when it is missing. Raw numbers, logs and the table go to bench/results/<date-time>/.
# See bench/README.md for what every row does and how to read the table.
set -euo pipefail

reps=3
memory=1
raw=1
peersOnly=0
stages=0
tessel=""
while [ $# -gt 0 ]; do
  case $1 in
    --reps) reps=$2; shift 2 ;;
    --no-memory) memory=0; shift ;;
    --no-raw) raw=0; shift ;;
    --peers-only) peersOnly=1; shift ;;
    --stages) stages=1; shift ;;
    --tessel) tessel=$2; shift 2 ;;
    -h | --help) sed -n '2,17p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "compare: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done
[[ $reps =~ ^[1-9][0-9]*$ ]] || { echo "compare: --reps needs a positive number" >&2; exit 2; }

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
for tool in montage convert vips vipsthumbnail djpeg pdfinfo python3 /usr/bin/time dcraw_emu exiftool; do
  command -v "$tool" >/dev/null || { echo "compare: $tool is missing (scripts/install-deps.sh)" >&2; exit 1; }
done

# --- Corpus ------------------------------------------------------------------------------
needed=48
[ "$peersOnly" = 0 ] && [ "$memory" = 1 ] && needed=480
"$here/make-corpus.sh" "$needed"
mapfile -t corpus < <(find "$here/corpus/cam24" -maxdepth 1 -name '[0-9][0-9][0-9]_*.jpg' | sort)

# --- tessel-sheet ------------------------------------------------------------------------
build=$repo/build/release
if [ "$peersOnly" = 0 ] && [ -z "$tessel" ]; then
  [ -f "$build/CMakeCache.txt" ] || (cd "$repo" && cmake --preset release >/dev/null)
  if cmake --build "$build" --target help | grep -q '^tessel-sheet:'; then
    echo "compare: building tessel-sheet (release preset)"
    cmake --build "$build" --target tessel-sheet | tail -1
    tessel=$(find "$build" -type f -name tessel-sheet -perm -u+x | head -1)
  else
    echo "compare: this tree has no tessel-sheet target yet; timing the peers only"
    peersOnly=1
  fi
fi
if [ "$peersOnly" = 0 ] && [ ! -x "$tessel" ]; then
  echo "compare: no runnable tessel-sheet at '$tessel'" >&2
  exit 1
fi

# --- Where everything goes ---------------------------------------------------------------
results=$here/results/$(date +%Y%m%d-%H%M%S)
logs=$results/logs
work=$(mktemp -d "${TMPDIR:-/tmp}/tessel-compare.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$logs"
runs=$results/runs.tsv
printf 'tool\tfiles\trep\twall_s\tcpu_s\tpeak_kb\tstatus\n' >"$runs"

# Debian's ImageMagick policy caps memory at 256 MiB and the pixel area at 128 MP, which
# pushes a 48-image montage into its disk cache. For the benchmark only, a private policy
# raises those limits (for resources the first policy file found wins). Its PDF coder stays
# disabled (for coders the system file has the last word), so montage writes PNG pages.
mkdir -p "$work/magick"
cat >"$work/magick/policy.xml" <<'EOF'
<policymap>
  <policy domain="resource" name="memory" value="4GiB"/>
  <policy domain="resource" name="map" value="8GiB"/>
  <policy domain="resource" name="area" value="2GP"/>
  <policy domain="resource" name="disk" value="16GiB"/>
</policymap>
EOF
export MAGICK_CONFIGURE_PATH=$work/magick

# --- The jobs, each on a list of files into an output folder -----------------------------
# Contact preset geometry: picture area 346.67 x 351.8 px, so a decode bound of 773 px
# (2.2 x the longer side); cells 346.67 x 381.5 px with 28 px between them on a
# 1240 x 1754 px page (A4 at 150 dpi) with a 72 px margin.
tesselJob() { # out files...
  local out=$1; shift
  "$TESSEL" --preset contact --output-dir "$out" "$@"
}
# The same sheet for printing: 300 ppi, 2480 x 3508 px pages, pictures decoded for cells
# twice the size.
tessel300Job() { # out files...
  local out=$1; shift
  "$TESSEL" --preset contact --resolution 300 --output-dir "$out" "$@"
}
montageJob() { # out files...
  local out=$1; shift
  montage -define jpeg:size=773x773 -auto-orient -label '%t' -pointsize 18 "$@" \
    -tile 3x4 -geometry 347x352+14+14 -background white miff:- |
    convert - -gravity center -background white -extent 1240x1754 \
      -units PixelsPerInch -density 150 -depth 8 "$out/page-%d.png"
}
vipsJob() { # out files...
  local out=$1; shift
  mkdir -p "$out/cells"
  vipsthumbnail -s 347x352 -o "$out/cells/%s.v" "$@"
  local cells page=0 i
  mapfile -t cells < <(for f in "$@"; do b=${f##*/}; echo "$out/cells/${b%.*}.v"; done)
  for ((i = 0; i < ${#cells[@]}; i += 12)); do
    page=$((page + 1))
    vips arrayjoin "${cells[*]:i:12}" "$out/grid.v" --across 3 --shim 28 \
      --hspacing 347 --vspacing 382 --halign centre --valign centre --background 255
    vips embed "$out/grid.v" "$out/page-$page.png" 72 72 1240 1754 \
      --extend background --background 255
  done
  rm -rf "$out/cells" "$out/grid.v"
}
floorJob() { # out parallel files...
  local parallel=$2; shift 2
  printf '%s\0' "$@" | xargs -0 -n 1 -P "$parallel" djpeg -scale 1/4 -outfile /dev/null
}
# Camera RAW files. The floor for those drawn from their previews: each preview cut out of its
# file with dd (at the offset bench/make-raw-corpus.sh noted) and decoded at the DCT scale
# Tessel takes, 1/4, in two processes. For those developed from their sensor data: LibRaw's own
# dcraw_emu at half size (-h, the size Tessel develops contact-sheet cells at), in two processes.
cutPreview() { # "FILE<TAB>OFFSET<TAB>LENGTH"
  local f o n
  IFS=$'\t' read -r f o n <<<"$1"
  dd if="$f" iflag=skip_bytes,count_bytes skip="$o" count="$n" status=none |
    djpeg -scale 1/4 -outfile /dev/null
}
previewFloorJob() { # out previews.tsv files...
  local offsets=$2; shift 2
  local file
  for file in "$@"; do
    printf '%s/%s\n' "$(dirname "$file")" "$(grep -F "$(basename "$file")"$'\t' "$offsets")"
  done | xargs -d '\n' -n 1 -P 2 bash -c 'cutPreview "$1"' _
}
dcrawJob() { # out files...
  shift
  printf '%s\0' "$@" | xargs -0 -n 1 -P 2 dcraw_emu -h -Z - >/dev/null
}
# Two processes, each on one half of the files; each half's peak memory goes to a file so
# that the two can be added up.
halves() { # out job files...
  local out=$1 job=$2; shift 2
  local half=$((($# + 1) / 2))
  mkdir -p "$out/a" "$out/b"
  /usr/bin/time -f '%M' -o "$out/peak-a" bash -c "$job \"\$@\"" _ "$out/a" "${@:1:half}" &
  local first=$!
  /usr/bin/time -f '%M' -o "$out/peak-b" bash -c "$job \"\$@\"" _ "$out/b" "${@:half+1}" &
  local second=$!
  local status=0
  wait $first || status=1
  wait $second || status=1
  return $status
}
export -f tesselJob tessel300Job montageJob vipsJob floorJob cutPreview previewFloorJob dcrawJob halves
export TESSEL=$tessel

# measure TOOL FILES REP JOB ARGS... : runs JOB OUT ARGS... under /usr/bin/time, with OUT a
# fresh folder, and appends one row to runs.tsv.
measure() {
  local tool=$1 files=$2 rep=$3 job=$4; shift 4
  local slug
  slug=$(echo "$tool-$files-$rep" | tr -c 'A-Za-z0-9\n-' '_')
  local out=$work/out/$slug
  local log=$logs/$slug.log
  rm -rf "$out"
  mkdir -p "$out"
  local status=ok
  /usr/bin/time -f '%e %U %S %M' -o "$out.time" bash -c '"$@"' _ "$job" "$out" "$@" >"$log" 2>&1 || status=failed
  local wall user sys peak
  read -r wall user sys peak < <(tail -1 "$out.time")
  if compgen -G "$out/peak-?" >/dev/null; then
    peak=$(cat "$out"/peak-? | awk '{ s += $NF } END { print s }')
  fi
  local pages
  pages=$(checkOutput "$tool" "$files" "$out")
  [ "$status" = ok ] && [ -n "$pages" ] || status=failed
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$tool" "$files" "$rep" "$wall" \
    "$(echo "$user + $sys" | bc)" "$peak" "$status" >>"$runs"
  printf '  %-22s %4s files  rep %s  %7.2f s wall  %7.2f s cpu  %6.0f MB  %s\n' "$tool" "$files" \
    "$rep" "$wall" "$(echo "$user + $sys" | bc)" "$(echo "$peak / 1024" | bc -l)" "$status"
  [ "$status" = ok ] || echo "    (see $log)"
  rm -rf "$out"
}

# checkOutput TOOL FILES OUT: prints a non-empty word when the job wrote what it should.
checkOutput() {
  local tool=$1 files=$2 out=$3 expected=$((($2 + 11) / 12))
  case $tool in
    tessel-sheet*)
      local pdf
      pdf=$(find "$out" -name '*.pdf' | head -1)
      [ -n "$pdf" ] && [ "$(pdfinfo "$pdf" 2>/dev/null | awk '/^Pages:/ { print $2 }')" = "$expected" ] &&
        echo "$expected" ;;
    djpeg* | "RAW "*) echo - ;;
    *) # PNG pages; two halves may each end in a part-filled page
      local n
      n=$(find "$out" -name 'page-*.png' | wc -l)
      [ "$n" -ge "$expected" ] && echo "$n" ;;
  esac
}

# --- Run ---------------------------------------------------------------------------------
{
  echo "Tessel comparison, $(date -Is)"
  echo "machine: $(nproc) cores, $(awk '/MemTotal/ { printf "%.0f GB", $2 / 1048576 }' /proc/meminfo), load average at start: $(cut -d' ' -f1-3 /proc/loadavg)"
  echo "tessel-sheet: ${tessel:-not timed}$( [ -n "$tessel" ] && cd "$repo" && echo " (commit $(git rev-parse --short HEAD))")"
  echo "peers: $(convert -version | head -1 | cut -d' ' -f2-3), $(vips --version), $(djpeg -version 2>&1 | head -1)"
  echo "corpus: the first 12 and 48 of ${#corpus[@]} files of 6000 x 4000 px in bench/corpus/cam24; $reps repetitions"
} | tee "$results/header.txt"

# Every run reads from the page cache, none from the disk.
cat "${corpus[@]:0:48}" >/dev/null

for rep in $(seq 1 "$reps"); do
  echo "repetition $rep of $reps"
  for files in 12 48; do
    set -- "${corpus[@]:0:files}"
    if [ "$peersOnly" = 0 ]; then
      measure tessel-sheet "$files" "$rep" tesselJob "$@"
      [ "$files" = 48 ] && measure "tessel-sheet 300" "$files" "$rep" tessel300Job "$@"
    fi
    measure "montage" "$files" "$rep" montageJob "$@"
    measure "montage x2" "$files" "$rep" halves montageJob "$@"
    measure "vips" "$files" "$rep" vipsJob "$@"
    measure "vips x2" "$files" "$rep" halves vipsJob "$@"
    measure "djpeg 1/4" "$files" "$rep" floorJob 1 "$@"
    measure "djpeg 1/4 x2" "$files" "$rep" floorJob 2 "$@"
  done
done

if [ "$raw" = 1 ]; then
  "$here/make-raw-corpus.sh" --build "$build"
  mapfile -t raw24 < <(find "$here/corpus/raw24" -maxdepth 1 -name '*.dng' | sort | head -n 48)
  mapfile -t rawdev < <(find "$here/corpus/rawdev" -maxdepth 1 -name '*.dng' | sort | head -n 12)
  echo "camera RAW: ${#raw24[@]} DNGs with full-size previews, ${#rawdev[@]} developed from sensor data"
  cat "${raw24[@]}" "${rawdev[@]}" >/dev/null
  for rep in $(seq 1 "$reps"); do
    [ "$peersOnly" = 0 ] && measure "tessel-sheet RAW" "${#raw24[@]}" "$rep" tesselJob "${raw24[@]}"
    measure "RAW preview 1/4 x2" "${#raw24[@]}" "$rep" previewFloorJob "$here/corpus/raw24/previews.tsv" "${raw24[@]}"
    [ "$peersOnly" = 0 ] && measure "tessel-sheet RAW dev" "${#rawdev[@]}" "$rep" tesselJob "${rawdev[@]}"
    measure "RAW dcraw_emu -h x2" "${#rawdev[@]}" "$rep" dcrawJob "${rawdev[@]}"
  done
fi

if [ "$peersOnly" = 0 ] && [ "$memory" = 1 ]; then
  echo "memory run: tessel-sheet on 480 files (40 pages), once"
  cat "${corpus[@]:0:480}" >/dev/null
  set -- "${corpus[@]:0:480}"
  measure tessel-sheet 480 1 tesselJob "$@"
fi

if [ "$stages" = 1 ] && [ "$peersOnly" = 0 ]; then
  cmake --build "$build" --target tessel_bench_stages | tail -1
  "$(find "$build" -type f -name tessel_bench_stages | head -1)" --image="${corpus[0]}" \
    --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true 2>&1 |
    tee "$results/stages.txt"
fi

echo "load average at end: $(cut -d' ' -f1-3 /proc/loadavg)" | tee -a "$results/header.txt"
python3 "$here/summarize.py" "$runs" | tee "$results/table.txt"
echo "results: $results"
