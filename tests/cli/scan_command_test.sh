#!/usr/bin/env bash
# nua-recover scan on a kit image: one JSON line per entry with the agreed keys, the summary last,
# the list form, and a refused volume exiting 1 with its alert on standard error.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$mkimage" make hfs-basic "$work/basic.img" --manifest "$work/basic.json" > /dev/null
"$recover" scan "$work/basic.img" --mode partitions --tree-scan standard --signatures skip --json --quiet \
  > "$work/out.jsonl" 2> "$work/err.txt"
keys='"path":"Root/Documents/Projects/plan.txt","name":"plan.txt","id":20,"parentID":17,"folder":false,"size":3000,"deleted":false,"complete":true,'
grep -qF "$keys" "$work/out.jsonl" || { echo "plan.txt line not found"; cat "$work/out.jsonl"; exit 1; }
grep -qE '"plan.txt".*"blockBaseSector":0,"sectorsPerBlock":8,"extents":\[\[[0-9]+,1\]\]\}' "$work/out.jsonl" || { echo "extents"; exit 1; }
[ "$(grep -c '"path"' "$work/out.jsonl")" -eq 12 ] || { echo "expected 12 entries"; exit 1; }
tail -1 "$work/out.jsonl" > "$work/summary.json"
for part in '^\{"summary":\{' '"Entries Found": ?12' '"Files": ?7' '"Folders": ?5' '"Data": ?[0-9]+' \
            '"Note": ?"Standard scan completed'; do
  grep -qE "$part" "$work/summary.json" || { echo "summary lacks $part"; cat "$work/summary.json"; exit 1; }
done
head -1 "$work/out.jsonl" | grep -q '"path":"Root"' || { echo "root first"; exit 1; }
"$recover" scan "$work/basic.img" --list --quiet > "$work/list.txt" 2> /dev/null
grep -q '^        notes.txt  0.04 KB$' "$work/list.txt" || { echo "list"; cat "$work/list.txt"; exit 1; }
"$mkimage" make hfs-damaged-catalog "$work/bad.img" --manifest "$work/bad.json" > /dev/null
status=0
"$recover" scan "$work/bad.img" --json --quiet > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] || { echo "refused volume exit $status"; exit 1; }
grep -q '^!Can not process: Key data structures not found.' "$work/err.txt" || { echo "alert"; cat "$work/err.txt"; exit 1; }
# A disk image with a partition map: rows of the partition list, and a volume row mapped to its partition.
"$mkimage" make gpt "$work/gpt.img" --manifest "$work/gpt.json" > /dev/null
"$recover" scan "$work/gpt.img" --partition 1 --json --quiet > "$work/p1.jsonl" 2> /dev/null
grep -q '"path":"Root/Reports/Summer budget.txt"' "$work/p1.jsonl" || { echo "partition 1"; cat "$work/p1.jsonl"; exit 1; }
"$recover" scan "$work/gpt.img" --volume 1 --json --quiet > "$work/v1.jsonl" 2> /dev/null
cmp -s "$work/p1.jsonl" "$work/v1.jsonl" || { echo "volume 1 is not partition 1"; exit 1; }
status=0
"$recover" scan "$work/gpt.img" --partition 7 --quiet > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'there is no row 7' "$work/err.txt" || { echo "missing row"; cat "$work/err.txt"; exit 1; }
# FAT: the files mode walks a bare FAT16 volume with long names, live and deleted, and saves it whole.
"$mkimage" make fat16-basic "$work/fat.img" --manifest "$work/fat.json" > /dev/null
"$recover" scan "$work/fat.img" --mode files --json --quiet > "$work/fat.jsonl" 2> /dev/null
grep -q '"path":"Root/Documents/Quarterly report 2014.txt","name":"Quarterly report 2014.txt",.*"deleted":false' \
  "$work/fat.jsonl" || { echo "FAT live long name"; cat "$work/fat.jsonl"; exit 1; }
grep -q '"path":"Root/Documents/Deleted letter to the bank.txt",.*"deleted":true' "$work/fat.jsonl" \
  || { echo "FAT deleted long name"; exit 1; }
# Two deleted files of this volume lie partly in clusters live files hold now: saved, but not counted
# as saved, and the exit code says so.
status=0
"$recover" scan "$work/fat.img" --mode files --quiet --save "$work/fat-out" --select all > "$work/fat-save.txt" 2>&1 \
  || status=$?
[ "$status" -eq 1 ] && grep -q '^Files saved: 38, failed: 2$' "$work/fat-save.txt" \
  && grep -q '^Failed: Root/Documents/Overwritten draft.txt: not its own data' "$work/fat-save.txt" \
  || { echo "FAT save counts, exit $status"; cat "$work/fat-save.txt"; exit 1; }
sum=$(sha256sum "$work/fat-out/Root/Fragments/Fragmented live file.bin" | cut -d' ' -f1)
grep -q "\"sha256\": *\"$sum\"" "$work/fat.json" || { echo "FAT fragmented file bytes"; exit 1; }
# The demo disk's FAT32 volume: its deleted photos come back with the bytes that were written.
"$mkimage" make demo "$work/demo.img" --manifest "$work/demo.json" > /dev/null
"$recover" scan "$work/demo.img" --mode files --volume 1 --quiet --save "$work/demo-out" --select deleted > /dev/null 2>&1
saved=0
while IFS= read -r -d '' file; do
  sum=$(sha256sum "$file" | cut -d' ' -f1)
  grep -q "\"sha256\": *\"$sum\"" "$work/demo.json" || { echo "demo photo $file"; exit 1; }
  saved=$((saved + 1))
done < <(find "$work/demo-out" -type f -print0)
[ "$saved" -ge 2 ] || { echo "demo deleted photos saved: $saved"; exit 1; }
status=0
"$recover" scan "$work/demo.img" --mode partitions --volume 1 --quiet > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'scan a FAT volume with --mode files' "$work/err.txt" || { echo "FAT partition row"; exit 1; }
echo "scan command: all checks passed"
