#!/usr/bin/env bash
# nua-recover scan --session-out and nua-recover open: the reopened tree prints as the scanned one,
# saving from it gives the same files, and damaged or foreign files are refused with their alert.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$mkimage" make hfs-basic "$work/basic.img" --manifest "$work/basic.json" > /dev/null
"$recover" scan "$work/basic.img" --json --quiet --session-out "$work/s.nvs" > "$work/scan.jsonl" 2> "$work/err.txt"
grep -q '^Recovery Session File Saved: Saving location: ' "$work/err.txt" || { echo "saved alert"; cat "$work/err.txt"; exit 1; }
"$recover" open "$work/s.nvs" --json > "$work/open.jsonl" 2> "$work/err.txt"
grep -q '^Recovery Session Opened: From File: ' "$work/err.txt" || { echo "opened alert"; cat "$work/err.txt"; exit 1; }
cmp -s <(grep '"path"' "$work/scan.jsonl") <(grep '"path"' "$work/open.jsonl") || { echo "entries differ"; exit 1; }
"$recover" scan "$work/basic.img" --quiet --save "$work/a" --select all > /dev/null 2>&1
"$recover" open "$work/s.nvs" --quiet --save "$work/b" --select all > /dev/null 2>&1
(cd "$work/a" && find . -type f -exec sha256sum {} + | sort) > "$work/a.sha"
(cd "$work/b" && find . -type f -exec sha256sum {} + | sort) > "$work/b.sha"
[ -s "$work/a.sha" ] && cmp -s "$work/a.sha" "$work/b.sha" || { echo "saved files differ"; exit 1; }
head -c 3000 "$work/s.nvs" > "$work/cut.nvs"
status=0
"$recover" open "$work/cut.nvs" --json > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q '^! Error: This recovery session file is damaged' "$work/err.txt" || { echo "cut"; cat "$work/err.txt"; exit 1; }
status=0
"$recover" open "$work/basic.json" > /dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || { echo "not an nvs: exit $status"; exit 1; }
cp "$work/basic.img" "$work/image.nvs"
status=0
"$recover" open "$work/image.nvs" > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q '^! Error: This recovery session file is incomplete.' "$work/err.txt" || { echo "foreign"; cat "$work/err.txt"; exit 1; }
echo "open command: all checks passed"
