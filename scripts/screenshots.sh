#!/usr/bin/env bash
# Renders the pictures in doc/images/ on a private X server: installs what is missing, builds
# the gallery example and saves each window it shows as a PNG.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
talmon_install_deps g++ cmake make qt6-base-dev xvfb xauth
cmake -S . -B build/screenshots -DCMAKE_BUILD_TYPE=Release -DTALMON_BUILD_TESTS=OFF >/dev/null
cmake --build build/screenshots -j"$(nproc)" --target example_gallery
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT
mkdir -p doc/images
# xvfb-run -a picks a free display, so this can run beside other X servers.
shoot() {
  local out=$1
  shift
  TALMON_DATA_DIR="$data" xvfb-run -a -s "-screen 0 1280x1024x24" \
    build/screenshots/examples/example_gallery "$@" --save "$out"
  echo "written: $out"
}
shoot doc/images/textctrl.png
shoot doc/images/messagebox.png --messagebox
