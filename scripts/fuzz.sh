#!/usr/bin/env bash
# Fuzzes the page reader and the markup interpreter with libFuzzer (clang), each for
# FUZZ_SECONDS (default 60), under AddressSanitizer and UndefinedBehaviorSanitizer. The seed
# corpus in fuzz/corpus/ is copied to build/fuzz/corpus/, where what the fuzzer finds is kept;
# a crash leaves its input in build/fuzz/ and fails the script.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
talmon_install_deps clang cmake make
seconds=${FUZZ_SECONDS:-60}

CC=clang CXX=clang++ cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTALMON_BUILD_FUZZ=ON -DTALMON_SANITIZE=ON -DTALMON_BUILD_TESTS=OFF >/dev/null
cmake --build build/fuzz -j"$(nproc)" --target page_fuzz markup_fuzz

status=0
for target in page markup; do
  corpus=build/fuzz/corpus/$target
  mkdir -p "$corpus"
  cp -n fuzz/corpus/$target/* "$corpus"/
  echo "== ${target}_fuzz for ${seconds} s"
  if ! (cd build/fuzz && ./fuzz/${target}_fuzz -max_total_time="$seconds" -max_len=65536 \
        -print_final_stats=1 "../../$corpus" 2>&1 | tail -n 25); then
    status=1
  fi
done
exit $status
