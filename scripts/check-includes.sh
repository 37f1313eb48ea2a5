#!/usr/bin/env bash
# Fails when a file includes an outside library's header that the layout does not give it:
# each library is confined to the few files that talk to it (docs/architecture.md), the
# core's public headers include only the standard library and each other, and nothing but
# the application includes Qt. Tests may include what they need to make and read files.
# Also fails when a folder of core/src includes a folder it must not use: they depend one way.
set -euo pipefail
cd "$(dirname "$0")/.."

# Each rule: the library, its headers (an extended regular expression on the included name)
# and the files that may include them (shell patterns; * also crosses folders).
libraries=() headers=() owners=()
rule() {
  libraries+=("$1")
  headers+=("$2")
  owners+=("$3")
}
rule libvips '^vips/' 'core/src/decode/* core/src/inspect/Inspect.cpp bench/ssim.cpp'
rule GLib '^(glib|glib-object|gio|gmodule)(\.h$|/)' 'core/src/decode/* core/src/inspect/Inspect.cpp core/src/draw/*
  core/src/thumbnailcache/ThumbnailNames.cpp cli/desktop/*'
rule exiv2 '^exiv2/' 'core/src/formats/exif/*'
rule LibRaw '^libraw/' 'core/src/formats/raw/*'
rule LittleCMS '^lcms2\.h$' 'core/src/decode/ColorProfile.cpp'
rule cairo '^cairo(\.h$|-|/)' 'core/src/draw/*'
rule Pango '^pango/' 'core/src/draw/*'
rule qpdf '^qpdf/' 'core/src/formats/pdf/PdfBuilder.cpp core/src/formats/pdf/PdfRead.cpp'
rule libjpeg '^(jpeglib|jerror|jconfig|jmorecfg)\.h$' 'core/src/formats/jpeg/*'
rule libspng '^spng\.h$' 'core/src/formats/png/*'
rule zlib '^zlib\.h$' 'core/src/formats/png/*'
rule ICU '^unicode/' 'core/src/recipe/SheetRecipe.cpp core/src/inspect/ExifDate.cpp
  core/src/draw/CaptionDate.cpp core/src/files/NaturalOrder.cpp core/src/update/UnicodeNumeric.cpp'
rule nlohmann-json '^nlohmann/' 'core/src/recipe/RecipeJson.* core/src/recipe/SavedLayouts.cpp
  core/src/update/Updater.cpp cli/Listing.cpp app/update/SelfUpdater.cpp'
rule libcurl '^curl/' 'core/src/update/Curl* core/src/update/Url.cpp'
rule libuuid '^uuid/' 'core/src/base/Uuid.cpp'
rule CLI11 '^CLI/' 'cli/CommandLine.cpp app/update/SignTool.cpp'
rule libarchive '^archive(_entry)?\.h$' 'app/update/Unpack.cpp'
rule libsodium '^sodium(\.h$|/)' 'app/update/BundleSigning.cpp app/update/SignTool.cpp'
rule benchmark '^benchmark/' 'bench/*'
rule Qt '^Q[A-Za-z0-9]*(/|$)' 'app/* bench/model.cpp'
# The folders of core/src each folder may include besides itself and the public headers.
declare -A uses=(
  [base]='' [recipe]='base' [layout]='base' [formats]='base' [decode]='base formats'
  [inspect]='base formats decode' [draw]='base' [render]='base formats decode draw'
  [output]='base formats decode' [files]='' [update]='base'
  [thumbnailcache]='base formats decode'
)
# The operating system's own headers may be used anywhere but in the public headers.
system='^(unistd|fcntl|pwd|signal|poll|spawn|dirent)\.h$|^(sys|linux)/'

failures=0
fail() {
  echo "check-includes: $*" >&2
  failures=$((failures + 1))
}

allowed() { # file patterns...
  local file=$1 pattern
  shift
  for pattern in "$@"; do
    # shellcheck disable=SC2053 # the pattern is meant to match
    [[ $file == $pattern ]] && return 0
  done
  return 1
}

set -f  # the owners' patterns are matched, never expanded
while IFS= read -r file; do
  while IFS= read -r header; do
    if [[ $file == core/include/* ]]; then
      [[ $header =~ ^[a-z_]+$ ]] ||
        fail "$file includes <$header>; public headers name only the standard library and Tessel's types"
      continue
    fi
    [[ $header =~ ^[a-z_]+$ ]] && continue  # the C++ standard library
    [[ $header =~ $system ]] && continue
    known=0
    for i in "${!libraries[@]}"; do
      [[ $header =~ ${headers[i]} ]] || continue
      known=1
      # shellcheck disable=SC2086 # the patterns are split on purpose
      allowed "$file" ${owners[i]} ||
        fail "$file includes <$header>; ${libraries[i]} belongs to" ${owners[i]}
    done
    [ $known = 1 ] || fail "$file includes <$header>, a library this script does not know (add a rule)"
  done < <(sed -nE 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*<([^>]+)>.*/\1/p' "$file")
done < <(git ls-files 'core/*' 'cli/*' 'app/*' 'bench/*' 'fuzz/*' | grep -E '\.(c|cc|cpp|h|hh|hpp)$')

while IFS= read -r file; do
  folder=${file#core/src/}
  folder=${folder%%/*}
  [ -n "${uses[$folder]+known}" ] || { fail "$file is in core/src/$folder, a folder this script does not know"; continue; }
  while IFS= read -r used; do
    [ "$used" = "$folder" ] && continue
    [[ " ${uses[$folder]} " == *" $used "* ]] || fail "$file includes core/src/$used; $folder uses only: ${uses[$folder]:-nothing}"
  done < <(sed -nE 's|^[[:space:]]*#[[:space:]]*include[[:space:]]*"([a-z]+)/.*|\1|p' "$file" | grep -vx tessel || true)
done < <(git ls-files 'core/src/*')

if [ $failures -gt 0 ]; then
  echo "check-includes: $failures include(s) outside the layout" >&2
  exit 1
fi
echo "check-includes: every outside library stays in its files; the core's folders depend one way"
