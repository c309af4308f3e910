#!/usr/bin/env bash
# The normal scan of large HFS+ volumes against Sleuth Kit's `fls -r -p` on the same image, in one run:
# wall time and peak memory of each, and our peak memory per entry.
# usage: tools/bench/hfs_scan_bench.sh BUILD_DIR [FILES ...]   (default 100000 1000000)
set -euo pipefail
build=${1:?build dir}
shift
counts=("$@")
[ ${#counts[@]} -eq 0 ] && counts=(100000 1000000)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
recover="$build/src/cli/nua-recover"
maker="$build/tools/bench/make-many-hfs"
measure() {  # prints "seconds peakKiB"
  /usr/bin/time -f "%e %M" -o "$work/time" "$@" > "$work/out" 2>/dev/null || true
  cat "$work/time"
}
printf "%-9s %-11s %10s %12s %10s %14s\n" files tool seconds peak_MiB entries bytes/entry
for n in "${counts[@]}"; do
  "$maker" "$n" "$work/many.img"
  read -r ours oursKiB < <(measure "$recover" scan "$work/many.img" --list --quiet)
  entries=$(($(wc -l < "$work/out") - 2))
  read -r fls flsKiB < <(measure fls -r -p "$work/many.img")
  flsEntries=$(wc -l < "$work/out")
  printf "%-9s %-11s %10s %12.1f %10s %14.0f\n" "$n" nua-recover "$ours" "$(echo "$oursKiB/1024" | bc -l)" "$entries" \
    "$(echo "$oursKiB*1024/$entries" | bc -l)"
  printf "%-9s %-11s %10s %12.1f %10s %14s\n" "$n" "fls -r -p" "$fls" "$(echo "$flsKiB/1024" | bc -l)" "$flsEntries" -
  rm -f "$work/many.img"
done
