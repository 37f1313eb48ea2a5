#!/usr/bin/env bash
# Makes an update release from a release build: lays out Tessel.app, signs it, zips it with
# Tessel.app at the top and writes the manifest that the update check reads.
#
# Usage: scripts/release/make-release.sh --build DIR --key SECRETKEY --url URL
#            [--notes TEXT] [--out DIR] [--tessel FILE] [--public-key FILE] [--version X]
#   --build       a build folder configured with -DTESSEL_VERSION=X: X is the release's version,
#                 and its tessel-sheet must say so
#   --key         the maker's secret key file (made by `tessel-sign keygen`)
#   --url         where the archive will be served, https://…/Tessel-X.zip
#   --notes       release notes for the manifest (default: none)
#   --out         output folder (default: DIR/release): Tessel.app, Tessel-X.zip and
#                 tessel/latest.json, laid out as the update server serves them
#   --tessel      the application program when it is not in DIR/app
#   --public-key  check the signature against this key instead of the one compiled into the
#                 build (tests sign with a key of their own)
#   --version     label the bundle X without asking the build (tests lay out stand-in
#                 programs that carry no version; a real release takes the build's own)
#
# The binaries find their libraries in Contents/lib ($ORIGIN/../lib in their RUNPATH). Only the
# project's own shared libraries go there; the distribution's libraries stay the distribution's
# (see docs/releasing.md).
set -euo pipefail

fail() { echo "make-release: $*" >&2; exit 1; }

build="" key="" url="" notes="" out="" tessel="" publicKey="" version=""
while [ $# -gt 0 ]; do
  case "$1" in
    --build) build="$2"; shift 2 ;;
    --key) key="$2"; shift 2 ;;
    --url) url="$2"; shift 2 ;;
    --notes) notes="$2"; shift 2 ;;
    --out) out="$2"; shift 2 ;;
    --tessel) tessel="$2"; shift 2 ;;
    --public-key) publicKey="$2"; shift 2 ;;
    --version) version="$2"; shift 2 ;;
    *) fail "unknown argument $1 (see the top of $0)" ;;
  esac
done
[ -n "$build" ] || fail "--build DIR is required"
[ -n "$key" ] || fail "--key SECRETKEY is required"
[ -n "$url" ] || fail "--url URL is required"
case "$url" in https://?*) ;; *) fail "--url must be an https:// address, not $url" ;; esac
[ -d "$build" ] || fail "no build folder $build"
[ -r "$key" ] || fail "cannot read the secret key $key"
for tool in jq bsdtar patchelf strip ldd; do
  command -v "$tool" >/dev/null || fail "$tool is missing (scripts/install-deps.sh installs it)"
done

checkVersion=no
if [ -z "$version" ]; then
  [ -f "$build/CMakeCache.txt" ] || fail "$build is not a CMake build folder"
  version=$(sed -n 's/^TESSEL_VERSION:[A-Z]*=//p' "$build/CMakeCache.txt")
  [ -n "$version" ] || fail "$build has no TESSEL_VERSION: configure it with -DTESSEL_VERSION=X.Y"
  checkVersion=yes
fi

if [ -z "$tessel" ]; then
  tessel=$(find "$build/app" -type f -name tessel -perm -u+x 2>/dev/null | sort | head -n 1)
fi
[ -n "$tessel" ] && [ -x "$tessel" ] ||
  fail "no tessel program in $build/app: build the application first (cmake --build $build)"
sheet="$build/cli/tessel-sheet"
sign="$build/app/update/tessel-sign"
[ -x "$sheet" ] || fail "no $sheet: build tessel-sheet first"
[ -x "$sign" ] || fail "no $sign: build tessel-sign first"
if [ "$checkVersion" = yes ]; then
  sheetVersion=$("$sheet" --version)
  [ "$sheetVersion" = "tessel-sheet $version" ] ||
    fail "$sheet says \"$sheetVersion\", not version $version: rebuild $build"
fi

out="${out:-$build/release}"
app="$out/Tessel.app"
archive="Tessel-$version.zip"
rm -rf "$app" "$out/$archive"
mkdir -p "$app/Contents/bin" "$app/Contents/lib" "$out/tessel"

install -m 0755 "$tessel" "$app/Contents/bin/tessel"
install -m 0755 "$sheet" "$app/Contents/bin/tessel-sheet"
for program in "$app/Contents/bin/tessel" "$app/Contents/bin/tessel-sheet"; do
  # The project's own shared libraries (none while the core is static) travel with the bundle.
  ldd "$program" | awk -v build="$(cd "$build" && pwd)/" 'index($3, build) == 1 { print $3 }' |
    while read -r library; do install -m 0644 "$library" "$app/Contents/lib/"; done
  strip --strip-unneeded "$program"
  patchelf --set-rpath '$ORIGIN/../lib' "$program"
done
for library in "$app/Contents/lib/"*; do
  [ -e "$library" ] || continue
  strip --strip-unneeded "$library"
  patchelf --set-rpath '$ORIGIN' "$library"
done
missing=$(ldd "$app/Contents/bin/"* | grep 'not found' || true)
[ -z "$missing" ] || fail "libraries that the bundle's programs need are missing: $missing"

jq -n --arg identifier "com.orvane.Tessel" --arg version "$version" \
  '{identifier: $identifier, version: $version}' >"$app/Contents/Info.json"

"$sign" sign "$app" "$key" >/dev/null
if [ -n "$publicKey" ]; then
  "$sign" verify "$app" --public-key "$publicKey" >/dev/null
else
  "$sign" verify "$app" >/dev/null ||
    fail "$key is not the key that $build trusts (TESSEL_RELEASE_PUBLIC_KEY_FILE)"
fi

(cd "$out" && bsdtar --format zip -cf "$archive" Tessel.app)
jq -n --arg version "$version" --arg url "$url" --arg notes "$notes" \
  '{version: $version, url: $url, notes: $notes}' >"$out/tessel/latest.json"

echo "Tessel $version"
echo "  bundle    $app"
echo "  archive   $out/$archive ($(stat -c %s "$out/$archive") bytes)"
echo "  manifest  $out/tessel/latest.json -> $url"
