#!/usr/bin/env bash
# The comparison of a scan's JSON with a carve image's manifest, on real output: the deleted-file scan
# of the carve-hfs volume lists exactly the deleted files at their planted sectors and nothing in use,
# and a file left out of that output is reported as missing; the whole-disk photo search of the raw
# image finds every planted file and saves its bytes.
set -euo pipefail
recover=$1
mkimage=$2
compare="$(dirname "$0")/carve_manifest_compare.py"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$mkimage" make carve-hfs "$work/carve.img" --manifest "$work/carve.json" > /dev/null
"$recover" scan "$work/carve.img" --mode files --volume 0 --json > "$work/scan.jsonl" 2> /dev/null
python3 "$compare" "$work/carve.json" "$work/scan.jsonl" --free-space || { echo "the deleted files differ"; exit 1; }
grep -v '"name":"chart 1.png"' "$work/scan.jsonl" > "$work/short.jsonl"
if python3 "$compare" "$work/carve.json" "$work/short.jsonl" --free-space > "$work/differences.txt"; then
  echo "a missing file was not reported"; exit 1
fi
grep -q '^missing chart 1.png (deleted) at sector ' "$work/differences.txt" || { cat "$work/differences.txt"; exit 1; }
# The whole-disk photo search of the raw carve image: every planted file at its sector, and the saved
# files hold the planted bytes.
"$mkimage" make carve-disk "$work/disk.img" --manifest "$work/disk.json" > /dev/null
"$recover" scan "$work/disk.img" --mode photos-advanced --target disk --signatures all --json \
  > "$work/disk.jsonl" 2> /dev/null
python3 "$compare" "$work/disk.json" "$work/disk.jsonl" || { echo "the whole-disk search differs"; exit 1; }
"$recover" scan "$work/disk.img" --mode photos-advanced --target disk --signatures all --quiet \
  --save "$work/saved" > "$work/save.txt" 2>&1 || { cat "$work/save.txt"; exit 1; }
python3 "$(dirname "$0")/carve_saved_compare.py" "$work/disk.json" "$work/disk.jsonl" "$work/saved" \
  > "$work/saved.txt" || { cat "$work/saved.txt"; exit 1; }
echo "carve manifest comparison: all checks passed"
