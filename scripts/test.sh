#!/usr/bin/env bash
# The whole suite on a fresh Debian machine: installs what is missing, then builds and runs
# the tests twice (warnings as errors; AddressSanitizer + UndefinedBehaviorSanitizer), builds
# the benchmarks, and builds consumers against the installed CMake package and pkg-config
# files. Qt tests run offscreen; the one X11 test starts its own X server (xvfb-run -a).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
talmon_install_deps g++ cmake make pkg-config libgtest-dev libgmock-dev libbenchmark-dev \
  libspdlog-dev qt6-base-dev xvfb xauth
jobs=$(nproc)
total=0

# Runs ctest with its output shown and adds the number of tests it passed to total.
run_ctest() {
  local log
  log=$(mktemp)
  ctest "$@" 2>&1 | tee "$log"
  local passed
  passed=$(sed -n 's/.*tests passed, 0 tests failed out of \([0-9]*\).*/\1/p' "$log")
  rm -f "$log"
  total=$((total + ${passed:-0}))
}

cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DTALMON_BUILD_TESTS=ON \
  -DTALMON_BUILD_BENCH=ON -DTALMON_WERROR=ON
cmake --build build/release -j"$jobs"
run_ctest --test-dir build/release --output-on-failure -j"$jobs"

cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=Debug -DTALMON_BUILD_TESTS=ON \
  -DTALMON_SANITIZE=ON -DTALMON_WERROR=ON
cmake --build build/sanitize -j"$jobs"
# Qt and fontconfig keep some memory for the process's lifetime: scripts/lsan.supp names
# those system libraries.
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp" \
  run_ctest --test-dir build/sanitize --output-on-failure -j"$jobs"

# A consumer of the installed library, through find_package(TalMon) and through pkg-config.
prefix="$PWD/build/prefix"
rm -rf "$prefix"
cmake --install build/release --prefix "$prefix" >/dev/null
cmake -S examples/consumer -B build/consumer -DCMAKE_PREFIX_PATH="$prefix"
cmake --build build/consumer -j"$jobs"
export LD_LIBRARY_PATH="$prefix/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
data=$(mktemp -d)
TALMON_DATA_DIR="$data" build/consumer/consumer
TALMON_DATA_DIR="$data" build/consumer/consumer_ui
TALMON_DATA_DIR="$data" build/consumer/consumer_pump
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
g++ -std=c++17 examples/consumer/consumer.cpp $(pkg-config --cflags --libs talmon) \
  -o build/consumer/consumer-pc
TALMON_DATA_DIR="$data" build/consumer/consumer-pc
g++ -std=c++17 -fPIC examples/consumer/consumer_ui.cpp $(pkg-config --cflags --libs talmon-ui) \
  -o build/consumer/consumer_ui-pc
TALMON_DATA_DIR="$data" build/consumer/consumer_ui-pc
g++ -std=c++17 -fPIC -Wl,--as-needed examples/consumer/consumer_pump.cpp \
  $(pkg-config --cflags --libs talmon-ui) -o build/consumer/consumer_pump-pc
TALMON_DATA_DIR="$data" build/consumer/consumer_pump-pc
rm -rf "$data"
echo "Release and sanitizer builds, installed-package consumer: all passed."
echo "tests: $total passed, 0 failed"
