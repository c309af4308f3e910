#!/usr/bin/env bash
# CI's short fuzzing pass: every target for SECONDS on a fresh seed corpus. Fails on any crash, leak,
# hang (10 s for one input) or memory over 2 GiB, and prints the executions each target reached.
# Usage: tools/fuzz_smoke.sh BUILD_DIR [SECONDS]
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:?usage: tools/fuzz_smoke.sh BUILD_DIR [SECONDS]}
seconds=${2:-20}
corpus=$(mktemp -d)
trap 'rm -rf "$corpus"' EXIT
tools/fuzz_corpus.sh "$build" "$corpus" || exit 1
mkdir -p "$build/fuzz-crashes"
failed=0
passed=0
for binary in "$build"/tests/fuzz/fuzz_*; do
  target=${binary##*/fuzz_}
  log=$build/fuzz-crashes/$target.log
  if "$binary" "$corpus/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -max_len=$((4 * 1024 * 1024)) -artifact_prefix="$build/fuzz-crashes/$target-" -print_final_stats=1 >"$log" 2>&1; then
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$')
    echo "fuzz $target: ${runs:-?} runs in ${seconds} s, no failure"
    passed=$((passed + 1))
  else
    echo "fuzz $target: FAILED (see $log)"
    grep -m 5 -E 'ERROR|SUMMARY|Test unit written' "$log" | sed 's/^/  /'
    failed=$((failed + 1))
  fi
done
echo "fuzzing: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
