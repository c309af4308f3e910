#!/usr/bin/env bash
# nua-recover scan/open --save never reports a wrong save as a success: a deleted file whose first
# cluster a larger live file took over is saved at its own size and counted failed, and an image cut
# short fails the files it cut; "Files saved: N, failed: M" tells the truth and the exit code is 1.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
manifest_field() {  # manifest_field FILE PYTHON-EXPRESSION over the first volume `v`
  python3 -c "import json,sys; v=json.load(open(sys.argv[1]))['volumes'][0]; print($2)" "$1"
}
live_files_match() {  # live_files_match MANIFEST OUT-FOLDER SKIP-LIST: every other live file byte-exact
  python3 - "$1" "$2" "$3" <<'PY'
import hashlib, json, os, sys
v = json.load(open(sys.argv[1]))['volumes'][0]
skip = set(json.loads(sys.argv[3]))
for e in v['entries']:
    if e['folder'] or e['deleted'] or e['size'] == 0 or e['path'] in skip:
        continue
    saved = os.path.join(sys.argv[2], 'Root', e['path'])
    if hashlib.sha256(open(saved, 'rb').read()).hexdigest() != e['sha256']:
        sys.exit('live file differs: ' + e['path'])
PY
}

# A deleted file whose first cluster now starts a larger live file.
"$mkimage" make fat-reused-first-cluster "$work/reused.img" --manifest "$work/reused.json" > /dev/null
status=0
"$recover" scan "$work/reused.img" --mode files --quiet --save "$work/reused" --select all > "$work/reused.txt" 2>&1 \
  || status=$?
[ "$status" -eq 1 ] || { echo "reused first cluster: exit $status"; cat "$work/reused.txt"; exit 1; }
grep -q '^Files saved: 2, failed: 1$' "$work/reused.txt" || { echo "reused counts"; cat "$work/reused.txt"; exit 1; }
grep -q 'regular files(which may show in the file manager) and the deleted files' "$work/reused.txt" \
  || { echo "completion note"; exit 1; }
line=$(grep '^Failed: Root/' "$work/reused.txt")
case "$line" in
  *': not its own data, 2560 of 2560 bytes saved: parts of it now belong to the live file "New video.bin"') ;;
  *) echo "reused failure line: $line"; exit 1 ;;
esac
saved=${line#Failed: }
saved="$work/reused/${saved%%: not its own data*}"
size=$(manifest_field "$work/reused.json" "[e['size'] for e in v['entries'] if e['path']=='Old report.txt' and e['deleted']][0]")
[ "$(stat -c %s "$saved")" -eq "$size" ] || { echo "reused: saved $(stat -c %s "$saved") bytes, entry says $size"; exit 1; }
live_files_match "$work/reused.json" "$work/reused" '[]'

# An image cut one sector into the last cluster a live file uses.
"$mkimage" make fat-truncated-image "$work/cut.img" --manifest "$work/cut.json" > /dev/null
status=0
"$recover" scan "$work/cut.img" --mode files --quiet --session-out "$work/cut.nvs" --save "$work/cut" --select all \
  > "$work/cut.txt" 2>&1 || status=$?
[ "$status" -eq 1 ] || { echo "truncated image: exit $status"; cat "$work/cut.txt"; exit 1; }
grep -qE '^Files saved: [0-9]+, failed: [1-9][0-9]*$' "$work/cut.txt" || { echo "cut counts"; cat "$work/cut.txt"; exit 1; }
cut_files=$(manifest_field "$work/cut.json" "__import__('json').dumps(v['extra']['truncated']['cutLiveFiles'])")
[ "$cut_files" != "[]" ] || { echo "the kit cut no live file"; exit 1; }
for path in $(manifest_field "$work/cut.json" "' '.join(p.replace(' ', '%') for p in v['extra']['truncated']['cutLiveFiles'])"); do
  path=${path//%/ }
  grep -qF "Failed: Root/$path: incomplete, " "$work/cut.txt" || { echo "not failed: $path"; cat "$work/cut.txt"; exit 1; }
  grep -F "Failed: Root/$path: incomplete, " "$work/cut.txt" | grep -q ': the source ends at sector ' \
    || { echo "reason for $path"; exit 1; }
done
live_files_match "$work/cut.json" "$work/cut" "$cut_files"
# The session of that scan, opened again: the same truth from open --save.
status=0
"$recover" open "$work/cut.nvs" --quiet --save "$work/reopened" --select all > "$work/open.txt" 2>&1 || status=$?
[ "$status" -eq 1 ] && grep -qE '^Files saved: [0-9]+, failed: [1-9][0-9]*$' "$work/open.txt" \
  || { echo "open --save: exit $status"; cat "$work/open.txt"; exit 1; }
echo "save failures: all checks passed"
