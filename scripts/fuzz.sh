#!/usr/bin/env bash
# Builds the fuzz targets for libFuzzer (clang++, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for a fixed time on a copy of its corpus.
#
#   scripts/fuzz.sh [TARGET...]     targets: model netpbm kxrun_args kxdis (default: all)
#
# FUZZ_SECONDS (default 60) per target, FUZZ_BUILD (default build-fuzz), FUZZ_JOBS (2).
# Each run's log, grown corpus and any failing input (crash-*, oom-*, timeout-*) stay in
# $FUZZ_BUILD/runs/TARGET/. A finding becomes a seed in fuzz/corpus/TARGET/ once fixed.
# Exit status: 0 when no target found anything.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
build=${FUZZ_BUILD:-build-fuzz}
jobs=${FUZZ_JOBS:-2}
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(model netpbm kxrun_args kxdis)

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DKX_LIBFUZZER=ON >/dev/null
cmake --build "$build" -j "$jobs" --target "${targets[@]/#/fuzz_}"

root=$(cd "$build" && pwd)
failed=0
for target in "${targets[@]}"; do
  work="$root/runs/$target"
  rm -rf "$work"
  mkdir -p "$work/corpus"
  cp fuzz/corpus/"$target"/* "$work/corpus/"
  status=0
  (cd "$work" && "$root/bin/fuzz_$target" -max_total_time="$seconds" -timeout=10 \
    -malloc_limit_mb=512 -rss_limit_mb=2048 -print_final_stats=1 corpus >log.txt 2>&1) ||
    status=$?
  stat() { sed -n "s/^stat::$1: *//p" "$work/log.txt" | tail -1; }
  runs=$(stat number_of_executed_units)
  rate=$(stat average_exec_per_sec)
  added=$(stat new_units_added)
  if [ "$status" -eq 0 ]; then
    echo "fuzz_$target: ${runs:-?} runs in ${seconds}s, ${rate:-?} exec/s, ${added:-?} new inputs, no findings"
  else
    failed=1
    echo "fuzz_$target: FAILED (exit $status) after ${runs:-?} runs; see $work/log.txt"
    ls "$work" | grep -E '^(crash|oom|timeout|leak|slow-unit)-' | sed "s|^|  $work/|" || true
  fi
done
exit "$failed"
