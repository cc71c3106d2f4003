#!/usr/bin/env bash
# Renders TalMonView's pictures in doc/images/ on a private X server: builds the viewer and the
# terminal tool, runs the tool's demo job in a fresh data directory, and saves the screen
# (sessions and a page, the merged view, a paused job).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
talmon_install_deps g++ cmake make qt6-base-dev xvfb xauth imagemagick
# TALMON_SCREENSHOT_BUILD names a build directory to take the programs from instead.
build=${TALMON_SCREENSHOT_BUILD:-build/screenshots}
if [ -z "${TALMON_SCREENSHOT_BUILD:-}" ] && [ "${1:-}" != "--inside" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DTALMON_BUILD_TESTS=OFF >/dev/null
  cmake --build "$build" -j"$(nproc)" --target TalMonView talmon_cli
fi
mkdir -p doc/images
if [ "${1:-}" != "--inside" ]; then
  # xvfb-run -a picks a free display, so this can run beside other X servers.
  exec env TALMON_SCREENSHOT_BUILD="$build" xvfb-run -a -s "-screen 0 1100x680x24" "$0" --inside
fi

data=$(mktemp -d)
export TALMON_DATA_DIR="$data/" XDG_CONFIG_HOME="$data/config"
talmon="$build/cli/talmon"
viewer="$build/viewer/TalMonView"
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; rm -rf "$data"' EXIT

# Two live jobs; the pictures show the second.
for job in 1 2; do
  "$talmon" demo --seconds 40 >/dev/null &
  pids+=($!)
  sleep 1
done
sleep 7
session=$("$talmon" sessions | awk 'NR > 1 { n = $1 } END { print n }')

# shoot OUT ARGS...: starts the viewer with ARGS, waits for it to settle, saves the screen.
shoot() {
  local out=$1
  shift
  "$viewer" "$@" &
  local pid=$!
  sleep 3
  import -window root "$out"
  kill "$pid"
  wait "$pid" 2>/dev/null || true
  echo "written: $out"
}
shoot doc/images/viewer-sessions.png Log "$session" follow TalMon demo
shoot doc/images/viewer-merged.png "*" "$session" follow TalMon demo
"$talmon" pause "$session" >/dev/null
shoot doc/images/viewer-paused.png Files "$session" follow TalMon demo
"$talmon" stop "$session" >/dev/null
