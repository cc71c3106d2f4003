#!/usr/bin/env bash
# The live demo on a fresh Debian machine: installs what is missing, builds the terminal
# tool, starts the demo producer and follows its pages in this terminal until it ends.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
# The whole tree configures its Qt half too, even when only the terminal tool is built.
talmon_install_deps g++ cmake make qt6-base-dev
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DTALMON_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo -j"$(nproc)" --target talmon_cli
talmon=build/demo/cli/talmon

"$talmon" demo "$@" &
demo=$!
trap 'kill "$demo" 2>/dev/null || true' EXIT INT TERM
# Give the producer a moment to make its session, then follow all its pages merged in
# write order; following ends when the demo's session stops.
sleep 0.3
"$talmon" show -f --merged
wait "$demo"
