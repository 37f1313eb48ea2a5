#!/usr/bin/env bash
# Installs every Debian 12 package Tessel needs to build, test, benchmark and run.
# Idempotent: when everything is present it only checks and returns.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config git ca-certificates
  clang clang-format clang-tidy libclang-rt-14-dev llvm
  # core libraries
  libvips-dev libheif-dev libexiv2-dev libraw-dev liblcms2-dev libcairo2-dev libpango1.0-dev libqpdf-dev
  nlohmann-json3-dev libcurl4-openssl-dev libssl-dev libicu-dev uuid-dev
  libjpeg62-turbo-dev libspng-dev libpng-dev zlib1g-dev
  # fonts for captions: Nimbus Sans is metric-compatible with Helvetica
  fonts-urw-base35 fontconfig
  # command line, application and updates
  libcli11-dev qt6-base-dev qt6-pdf-dev libarchive-dev libsodium-dev
  # the window's icons: Qt SVG and its icon engine (theme icons and our own drawings)
  qt6-svg-dev libqt6svg6
  # making releases: zip archives, library search paths, the manifest
  libarchive-tools patchelf jq
  # tests and benchmarks (bench/compare.sh and bench/make-corpus.sh need exiftool and bc)
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  poppler-utils qpdf openssl libvips-tools libjpeg-turbo-progs imagemagick time hyperfine
  libimage-exiftool-perl libraw-bin bc xvfb xauth python3 locales dbus-daemon
  # the file types by which tessel-sheet's "Open" finds the viewer for a sheet
  shared-mime-info
  # exports onto an exFAT file system (a loop device mounted through FUSE) in the tests
  exfatprogs exfat-fuse fuse3
  # the desktop entry and AppStream file are checked by the desktop's own validators; the
  # end-to-end update run presses "Update Now" under Xvfb
  desktop-file-utils appstream xdotool
  # the Debian package: manual pages from --help, dependencies (dpkg-shlibdeps), its check;
  # GLib's view of the shared thumbnail cache (gio) and GNOME Files' extension loader in tests
  help2man dpkg-dev lintian libglib2.0-bin python3-nautilus
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
