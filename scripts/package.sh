#!/usr/bin/env bash
# Makes the Debian package from the release build and checks it with lintian:
# build/release/tessel_VERSION-1_ARCH.deb, its path printed last.
#
#   scripts/package.sh [--version X] [--print-version]
#
#   --version X        the release's version (default: the newest <release> of the AppStream
#                      file, which must list X, with its date, before it is packaged)
#   --print-version    print that version and stop
#
# It installs what it needs (scripts/install-deps.sh), configures the release preset with
# TESSEL_VERSION=X, builds, runs `cpack -G DEB` (dpkg-shlibdeps computes Depends) and
# `lintian`, which must report no error.
set -euo pipefail
cd "$(dirname "$0")/.."
metainfo=app/desktop/com.orvane.Tessel.metainfo.xml.in
version=$(sed -n 's/.*<release version="\([^"]*\)".*/\1/p' "$metainfo" | head -1)
printOnly=0
while [ $# -gt 0 ]; do
  case $1 in
    --version) version=$2; shift 2 ;;
    --print-version) printOnly=1; shift ;;
    -h | --help) sed -n '2,14p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "package: unknown argument $1 (see --help)" >&2; exit 2 ;;
  esac
done
if [ $printOnly = 1 ]; then echo "$version"; exit 0; fi
grep -q "<release version=\"$version\"" "$metainfo" ||
  { echo "package: $metainfo has no <release version=\"$version\">: add it first" >&2; exit 1; }

scripts/install-deps.sh
build=build/release
cmake --preset release -DTESSEL_VERSION="$version" >/dev/null
cmake --build --preset release -j "$(nproc)"
rm -f "$build"/tessel_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/tessel_"$version"-*.deb)
dpkg-deb --field "$deb" Package Version Depends Recommends
# Errors fail the run; warnings and notes are shown.
lintian --fail-on error --display-info "$deb"
echo "$deb"
