#!/usr/bin/env bash
# nua-recover's advanced scan on kit images: a volume whose catalog header is gone keeps its paths, and
# a reformatted volume ("--mode formatted") gives back its old files under the lost folders, saved
# with the manifest's content.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$mkimage" make hfs-damaged-catalog "$work/bad.img" --manifest "$work/bad.json" > /dev/null
"$recover" scan "$work/bad.img" --mode partitions --tree-scan advanced --signatures skip --json --quiet \
  > "$work/bad.jsonl" 2> /dev/null
for path in 'Root/Documents/Projects/plan.txt' 'Root/Documents/Projects/Archive/notes.txt' 'Root/Photos/holiday.jpg' \
            'Root/readme.txt'; do
  grep -qF "\"path\":\"$path\"" "$work/bad.jsonl" || { echo "damaged catalog lacks $path"; cat "$work/bad.jsonl"; exit 1; }
done

"$mkimage" make hfs-reformatted "$work/old.img" --manifest "$work/old.json" > /dev/null
"$recover" scan "$work/old.img" --mode formatted --json --quiet > "$work/old.jsonl" 2> /dev/null
grep -qE '"path":"Root/Lost Folders/LostFolder2_*/Documents/Projects/plan.txt"' "$work/old.jsonl" ||
  { echo "reformatted: plan.txt"; cat "$work/old.jsonl"; exit 1; }
grep -qF '"path":"Root/Lost Files/readme.txt"' "$work/old.jsonl" || { echo "reformatted: readme.txt"; exit 1; }
"$recover" scan "$work/old.img" --mode formatted --save "$work/out" --select all --quiet > /dev/null 2>&1
saved=0
while IFS= read -r -d '' file; do
  [ -s "$file" ] || continue
  hash=$(sha256sum "$file" | cut -d' ' -f1)
  grep -qF "\"sha256\":\"$hash\"" "$work/old.json" || { echo "content of $file is not in the manifest"; exit 1; }
  saved=$((saved + 1))
done < <(find "$work/out" -type f -print0)
[ "$saved" -eq 6 ] || { echo "expected 6 saved files with content, got $saved"; exit 1; }
echo "advanced scan: all checks passed"
