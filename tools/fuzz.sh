#!/usr/bin/env bash
# Runs one fuzz target for a while on its seed corpus, keeping what it learns and any crash.
# Usage: tools/fuzz.sh TARGET MINUTES [BUILD_DIR]   (e.g. tools/fuzz.sh hfs_catalog_scan 30)
# Build first: cmake --preset fuzz && cmake --build --preset fuzz -j2
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:?usage: tools/fuzz.sh TARGET MINUTES [BUILD_DIR]}
minutes=${2:?usage: tools/fuzz.sh TARGET MINUTES [BUILD_DIR]}
build=${3:-build/fuzz}
corpus=$build/fuzz-corpus
[ -d "$corpus/$target" ] || tools/fuzz_corpus.sh "$build" "$corpus"
mkdir -p "$build/fuzz-crashes"
exec "$build/tests/fuzz/fuzz_$target" "$corpus/$target" -max_total_time=$((minutes * 60)) -timeout=10 \
  -rss_limit_mb=2048 -max_len=$((4 * 1024 * 1024)) -artifact_prefix="$build/fuzz-crashes/$target-" -print_final_stats=1
