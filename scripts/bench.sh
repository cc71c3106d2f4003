#!/usr/bin/env bash
# Builds the benchmarks (Release) and runs them all, then prints one table: each measure
# beside its baseline of the same run, the ratio, and the goal where there is one. The
# programs' own output goes to build/bench/bench.log. Takes a few minutes on 2 cores.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
talmon_install_deps g++ cmake make pkg-config libbenchmark-dev libspdlog-dev
build=build/bench
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DTALMON_BUILD_TESTS=OFF \
  -DTALMON_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)" >/dev/null
log="$build/bench.log"
rows="$build/bench.rows"
: >"$log"
: >"$rows"
# Google Benchmark programs get a short minimum time: the table wants ratios, not decimals.
for program in page_bench trace_bench session_bench layout_bench show_bench tail_bench run_bench; do
  echo "== $program" | tee -a "$log" >&2
  "$build/bench/$program" --benchmark_min_time=0.2 2>&1 | tee -a "$log" | grep '^|' >>"$rows"
done
for program in resume_bench follow_bench; do
  [ -x "$build/bench/$program" ] || continue
  echo "== $program" | tee -a "$log" >&2
  "$build/bench/$program" 2>&1 | tee -a "$log" | grep '^|' >>"$rows"
done
echo
echo "| area | measured | time | baseline | time | ratio | goal |"
echo "|---|---|---|---|---|---|---|"
cat "$rows"
