#!/usr/bin/env bash
# Builds the benchmark corpus: 24-megapixel, camera-like JPEGs derived from real photographs
# that Debian ships in its wallpaper packages.
#
#   bench/make-corpus.sh [COUNT]        COUNT files (default 48) in bench/corpus/cam24/
#
# Idempotent: packages, extracted photographs and derived files that already exist are kept,
# so asking for 480 after 48 only adds the 432 missing files.
#
# What it makes (bench/corpus/, ignored by git):
#   debs/, pkgx/    the Debian packages (apt-get download) and their extracted contents
#   real/           38 real photographs exactly as the packages ship them (1920 to 4000 px)
#   cam24/NNN_*.jpg COUNT files of 6000 x 4000 stored pixels (24 MP). Files 1-48 are made
#                   from the real photographs: upscaled with libvips, given a luminance grain
#                   (sigma 5) so that they compress like real camera files (about 0.3-0.45
#                   byte per pixel), baseline JPEG quality 92 with 4:2:2 chroma (cjpeg), EXIF
#                   Orientation 1, or 6 for portraits stored turned as cameras do. Files 49 on
#                   are lossless jpegtran variants of files 1-48 (flips, rotations, transposes,
#                   named "-vN"), cheap to make yet different in content and geometry.
#   MANIFEST.tsv    file, bytes, stored size, orientation, description
#
# Needs: libvips-tools, libjpeg-turbo-progs, libimage-exiftool-perl (scripts/install-deps.sh).
# Network: only 'apt-get download' of four Debian packages.
# shellcheck disable=SC2016 # the bash -c scripts expand their own arguments
set -euo pipefail

count=${1:-48}
if ! [[ $count =~ ^[0-9]+$ ]] || [ "$count" -lt 1 ]; then
  echo "usage: $0 [COUNT]   (COUNT >= 1, default 48)" >&2
  exit 2
fi

here=$(cd "$(dirname "$0")" && pwd)
root=$here/corpus
debs=$root/debs
pkgx=$root/pkgx
real=$root/real
out=$root/cam24
mkdir -p "$debs" "$pkgx" "$real" "$out"

for tool in vips vipsheader cjpeg jpegtran exiftool apt-get dpkg; do
  command -v "$tool" >/dev/null || { echo "make-corpus: $tool is missing (scripts/install-deps.sh)" >&2; exit 1; }
done

listed=0
[ -f "$root/MANIFEST.tsv" ] && listed=$(($(wc -l <"$root/MANIFEST.tsv") - 1))
if [ "$listed" -ge "$count" ]; then
  echo "make-corpus: $listed files already in $out"
  exit 0
fi

# 1. The Debian packages.
packages="lomiri-wallpapers-16.04 lomiri-wallpapers-20.04 mate-backgrounds plasma-workspace-wallpapers"
for p in $packages; do
  if ! compgen -G "$debs/${p}_*_all.deb" >/dev/null; then
    (cd "$debs" && apt-get download "$p")
  fi
  if [ ! -d "$pkgx/$p" ]; then
    deb=$(compgen -G "$debs/${p}_*_all.deb" | head -1)
    dpkg -x "$deb" "$pkgx/$p.tmp" && mv "$pkgx/$p.tmp" "$pkgx/$p"
  fi
done

# 2. The real photographs, chosen by eye: camera photographs only, no illustrations or renders.
selection="
lomiri-wallpapers-20.04 usr/share/backgrounds/Kleiber_by_Lukas_Baubkus.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/seeding_by_Clements_Engelhardt.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/Dragonfly_by_Bolly.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/sunset_by_Aitzol_Berasategi.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/Bridge_by_Sander_Klootwijk.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/Wine_by_Jakkub_Mede.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/picosdeeuropa_by_Aitzol_Berasategi.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/life_by_Aitzol_Berasategi.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/aitzgorri_by_Aitzol_Berasategi.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/friends_by_Aitzol_Berasategi.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/analogpattern_by_Peter_Nerlich.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/greentock_by_Peter_Nerlich.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/free_by_Peter_Nerlich.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/Wood.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/Picture_0B_by_freespace.jpg
plasma-workspace-wallpapers usr/share/wallpapers/Path/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/OneStandsOut/contents/images/2560x1600.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/TwoWings.jpg
plasma-workspace-wallpapers usr/share/wallpapers/ColorfulCups/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/EveningGlow/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/FallenLeaf/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/ColdRipple/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/BytheWater/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/Kite/contents/images/2560x1600.jpg
plasma-workspace-wallpapers usr/share/wallpapers/summer_1am/contents/images/2560x1600.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/LadyBird.jpg
plasma-workspace-wallpapers usr/share/wallpapers/DarkestHour/contents/images/2560x1600.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/YellowFlower.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/Garden.jpg
plasma-workspace-wallpapers usr/share/wallpapers/Grey/contents/images/2560x1600.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/Aqua.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/Storm.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/RainDrops.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/Blinds.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/FreshFlower.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/Dune.jpg
lomiri-wallpapers-16.04 usr/share/backgrounds/Picture_1A_by_freespace.jpg
mate-backgrounds usr/share/backgrounds/mate/nature/GreenMeadow.jpg
"
short() {
  case $1 in
    lomiri-wallpapers-16.04) echo lom16 ;;
    lomiri-wallpapers-20.04) echo lom20 ;;
    mate-backgrounds) echo mate ;;
    plasma-workspace-wallpapers) echo kde ;;
  esac
}
realFiles=()
i=0
while read -r pkg path; do
  [ -n "$pkg" ] || continue
  i=$((i + 1))
  case $path in
    *wallpapers/*/contents/*) base=$(echo "$path" | cut -d/ -f4).jpg ;;
    *) base=$(basename "$path") ;;
  esac
  name=$(printf '%02d_%s_%s' "$i" "$(short "$pkg")" "$base")
  [ -f "$real/$name" ] || cp -L "$pkgx/$pkg/$path" "$real/$name"
  realFiles+=("$real/$name")
done <<<"$selection"
realCount=${#realFiles[@]}

# 3. Files 1..48 from the real photographs. File k uses photograph (k-1) mod 38; files past
#    the 38th are mirrored so their content differs, and the first four of those are cut as
#    portraits. Portraits are stored turned 90 degrees (6000 x 4000) with Orientation 6.
derive() {
  local k=$1 src=$2
  local name t w h portrait=0 mirror=0 W H cur orientation=1
  name=$(printf '%03d_%s' "$k" "$(basename "$src" | sed 's/^[0-9]*_//')")
  [ -s "$out/$name" ] && return 0
  t=$(mktemp -d "${TMPDIR:-/tmp}/tessel-corpus.XXXXXX")
  w=$(vipsheader -f width "$src")
  h=$(vipsheader -f height "$src")
  [ "$h" -gt "$w" ] && portrait=1
  if [ "$k" -gt "$realCount" ]; then
    mirror=1
    [ "$k" -le $((realCount + 4)) ] && portrait=1
  fi
  if [ $portrait = 1 ]; then W=4000 H=6000; else W=6000 H=4000; fi
  vips thumbnail "$src" "$t/a.v" $W --height $H --size both --crop centre
  cur=$t/a.v
  if [ $mirror = 1 ]; then vips flip "$cur" "$t/b.v" horizontal && cur=$t/b.v; fi
  if [ $portrait = 1 ]; then vips rot "$cur" "$t/c.v" d270 && cur=$t/c.v && orientation=6; fi
  vips gaussnoise "$t/n.v" 6000 4000 --sigma 5 --mean 0 --seed "$k"
  vips add "$cur" "$t/n.v" "$t/s.v"
  vips cast "$t/s.v" "$t/g.ppm" uchar
  cjpeg -quality 92 -sample 2x1 "$t/g.ppm" >"$t/out.jpg"
  exiftool -q -overwrite_original -n -Orientation=$orientation \
    -ImageDescription="Derived (upscaled with vips, grain added) from $(basename "$src"); not a camera original" \
    -Software="Tessel bench/make-corpus.sh" "$t/out.jpg"
  mv "$t/out.jpg" "$out/$name"
  rm -rf "$t"
}

# 4. Files past 48: lossless jpegtran transforms of file ((k-1) mod 48) + 1, variant
#    (k-1) div 48, so every name and (up to variant 7) every content is distinct.
vary() {
  local k=$1
  local base=$(((k - 1) % 48 + 1)) variant=$(((k - 1) / 48))
  local src name
  src=$(compgen -G "$out/$(printf '%03d' "$base")_*.jpg" | head -1)
  name=$(printf '%03d_%s-v%d.jpg' "$k" "$(basename "$src" .jpg | sed 's/^[0-9]*_//')" "$variant")
  [ -s "$out/$name" ] && return 0
  local transforms=("-flip vertical" "-rotate 180" "-flip horizontal" "-transpose" "-transverse" "-rotate 90" "-rotate 270")
  # shellcheck disable=SC2086 # the transform is two words on purpose
  jpegtran -copy all ${transforms[$(((variant - 1) % 7))]} -outfile "$out/.$name.tmp" "$src"
  mv "$out/.$name.tmp" "$out/$name"
}
export -f derive vary
export out realCount

jobs=$(nproc)
firstCount=$((count < 48 ? count : 48))
echo "make-corpus: $realCount real photographs; deriving $firstCount 24 MP files ($jobs at a time)"
for k in $(seq 1 "$firstCount"); do
  echo "$k ${realFiles[$(((k - 1) % realCount))]}"
done | xargs -P "$jobs" -L 1 bash -c 'set -eu; derive "$0" "$1"'

if [ "$count" -gt 48 ]; then
  # Variants need all 48 originals, whatever was asked before.
  for k in $(seq "$firstCount" 47); do echo "$((k + 1)) ${realFiles[$((k % realCount))]}"; done |
    xargs -r -P "$jobs" -L 1 bash -c 'set -eu; derive "$0" "$1"'
  echo "make-corpus: making $((count - 48)) lossless variants"
  seq 49 "$count" | xargs -P "$jobs" -L 1 bash -c 'set -eu; vary "$0"'
fi

# 5. Manifest of everything present.
{
  printf 'file\tbytes\tstored_width\tstored_height\torientation\tdescription\n'
  exiftool -q -T -n -FileName -FileSize -ImageWidth -ImageHeight -Orientation -ImageDescription \
    "$out" | sort
} >"$root/MANIFEST.tsv"

echo "make-corpus: $(find "$out" -maxdepth 1 -name '[0-9][0-9][0-9]_*.jpg' | wc -l) files in $out"
