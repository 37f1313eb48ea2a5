#!/usr/bin/env bash
# End-to-end update run: Tessel 0.1, installed under a scratch home, finds 0.2 offered by a
# local HTTPS server, the user presses Return on the "A new version of Tessel is available"
# alert (its default button is "Update Now"), and 0.2 must be what runs afterwards.
#
# Usage: scripts/release/e2e-update.sh --key SECRETKEY [--public-key PUBKEY] [--port PORT] [--keep]
#   --key   the secret key that signs both releases
#   --public-key  its public half, compiled into both builds (default app/update/release-key.pub,
#           the maker's; a throwaway pair from `tessel-sign keygen` runs the same path)
#   --port  the local server's port (default 8443)
#   --keep  leave the scratch folder for inspection
#
# Builds build/e2e-0.1 and build/e2e-0.2 (release builds that trust the local server: the
# manifest address and certificate authority are build options, see docs/releasing.md), makes
# both releases, serves 0.2 with serve-local.sh, and runs 0.1 on its own Xvfb display. The key
# press is a real one, sent through the X server with xdotool to the focused alert. Needs Xvfb,
# xdotool and what make-release.sh and serve-local.sh need.
set -euo pipefail
cd "$(dirname "$0")/../.."

fail() { echo "e2e-update: $*" >&2; exit 1; }
say() { echo "e2e-update: $*"; }

key="" publicKey=app/update/release-key.pub port=8443 keep=no
while [ $# -gt 0 ]; do
  case "$1" in
    --key) key="$2"; shift 2 ;;
    --public-key) publicKey="$2"; shift 2 ;;
    --port) port="$2"; shift 2 ;;
    --keep) keep=yes; shift ;;
    *) fail "unknown argument $1 (see the top of $0)" ;;
  esac
done
[ -r "$key" ] || fail "--key SECRETKEY is required and must be readable"
[ -r "$publicKey" ] || fail "the public key $publicKey cannot be read"
publicKey=$(realpath "$publicKey")
for tool in Xvfb xdotool python3 openssl; do
  command -v "$tool" >/dev/null || fail "$tool is missing (scripts/install-deps.sh installs it)"
done

root=$(pwd)
serve="$root/build/e2e/serve"  # its authority lands in build/e2e/serve.tls, compiled into both
work=$(mktemp -d "${TMPDIR:-/tmp}/tessel-e2e.XXXXXX")
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  if [ "$keep" = yes ]; then say "scratch folder kept: $work"; else rm -rf "$work"; fi
}
trap cleanup EXIT
trap 'echo "e2e-update: a command failed at line $LINENO" >&2' ERR

# --- Two release builds that trust the local server ---------------------------------------
mkdir -p "$serve"
manifest="https://127.0.0.1:$port/tessel/latest.json"
for version in 0.1 0.2; do
  build="build/e2e-$version"
  if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake --preset release -B "$build" -DTESSEL_VERSION="$version" -DTESSEL_BUILD_BENCH=OFF \
      -DTESSEL_UPDATE_MANIFEST_URL="$manifest" -DTESSEL_UPDATE_CA_BUNDLE="$serve.tls/ca.pem" \
      -DTESSEL_RELEASE_PUBLIC_KEY_FILE="$publicKey" >"$work/configure-$version.log"
  fi
  say "building $version ($build)"
  nice -n 10 cmake --build "$build" -j2 --target tessel tessel-sheet tessel-sign \
    >"$work/build-$version.log" || fail "the build of $version failed: $work/build-$version.log"
done

scripts/release/make-release.sh --build build/e2e-0.1 --key "$key" --out "$work/release-0.1" \
  --url "https://127.0.0.1:$port/Tessel-0.1.zip" >/dev/null
scripts/release/make-release.sh --build build/e2e-0.2 --key "$key" --out "$serve" \
  --url "https://127.0.0.1:$port/Tessel-0.2.zip" --notes "End-to-end run." >/dev/null
say "manifest served: $(cat "$serve/tessel/latest.json" | tr -d '\n')"

scripts/release/serve-local.sh "$serve" "$port" >"$work/server.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do
  curl -sf --cacert "$serve.tls/ca.pem" "$manifest" >/dev/null 2>&1 && break
  sleep 0.1
done
curl -sf --cacert "$serve.tls/ca.pem" "$manifest" >/dev/null || fail "the local server does not answer"

# --- Tessel 0.1 under a scratch home, on its own display ------------------------------------
export HOME="$work/home" TMPDIR="$work/tmp" XDG_RUNTIME_DIR="$work/runtime"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
mkdir -p "$HOME/Applications" "$TMPDIR" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
cp -a "$work/release-0.1/Tessel.app" "$HOME/Applications/"
app="$HOME/Applications/Tessel.app"
say "installed $(cat "$app/Contents/Info.json" | tr -d '\n') at $app"

exec 5>"$work/display"
Xvfb -displayfd 5 -screen 0 1600x1000x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(cat "$work/display")"
unset WAYLAND_DISPLAY QT_QPA_PLATFORM

"$app/Contents/bin/tessel" >"$work/tessel-0.1.log" 2>&1 &
old=$!
pids+=("$old")
say "Tessel 0.1 runs as process $old on display $DISPLAY"

# Tessel's visible windows (WM_CLASS "Tessel").
visible() { xdotool search --onlyvisible --class '^Tessel$' 2>/dev/null || true; }

# The automatic check finds 0.2 and asks: a second, smaller Tessel window is the alert.
alert=""
for _ in $(seq 300); do
  for window in $(visible); do
    eval "$(xdotool getwindowgeometry --shell "$window")"
    if [ "$WIDTH" -lt 1000 ]; then alert=$window; fi
  done
  [ -n "$alert" ] && break
  sleep 0.1
done
[ -n "$alert" ] || fail "no update alert appeared (see $work/tessel-0.1.log)"
say "the alert is window $alert; pressing Return (its default button, Update Now)"
xdotool windowfocus --sync "$alert"
xdotool key --clearmodifiers Return

for _ in $(seq 600); do kill -0 "$old" 2>/dev/null || break; sleep 0.1; done
kill -0 "$old" 2>/dev/null && fail "Tessel 0.1 did not quit after Update Now"
say "Tessel 0.1 quit; waiting for the installer script to swap and relaunch"

new=""
for _ in $(seq 600); do
  for proc in /proc/[0-9]*; do
    [ "$(readlink "$proc/exe" 2>/dev/null)" = "$app/Contents/bin/tessel" ] || continue
    new=${proc#/proc/}
  done
  [ -n "$new" ] && [ "$new" != "$old" ] && break
  new=""
  sleep 0.1
done
[ -n "$new" ] || fail "no Tessel runs from $app after the swap"
pids+=("$new")

installed=$(jq -r .version "$app/Contents/Info.json")
reported=$("$app/Contents/bin/tessel" --version)
[ "$installed" = 0.2 ] || fail "$app/Contents/Info.json says $installed, not 0.2"
[ "$reported" = "tessel 0.2" ] || fail "the installed program says \"$reported\""
[ ! -e "$app.bak" ] || fail "the backup $app.bak was left behind"
# "Later" would have been remembered in the settings; "Update Now" is not.
! grep -q updatePromptedVersion "$XDG_CONFIG_HOME/Orvane/Tessel.conf" 2>/dev/null ||
  fail "the alert was answered with Later, not Update Now"
# Its main window appears, and no update alert: 0.2 finds nothing newer than itself.
for _ in $(seq 300); do [ "$(visible | wc -l)" -ge 1 ] && break; sleep 0.1; done
sleep 3
kill -0 "$new" 2>/dev/null || fail "the relaunched Tessel did not keep running"
windows=$(visible | wc -l)
[ "$windows" -eq 1 ] || fail "the relaunched Tessel shows $windows windows, expected its main window only"
say "version 0.2 runs as process $new from $app (Info.json: $installed; --version: $reported)"
say "passed"
