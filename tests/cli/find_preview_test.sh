#!/usr/bin/env bash
# nua-recover --find, --select find:TEXT and nua-recover preview on kit images: the hits are the
# manifest's names holding the text in any case, marking them saves exactly those files, and a
# preview writes the bytes the manifest's hash names, from a scan and from a session alike.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }
"$mkimage" make hfs-basic "$work/basic.img" --manifest "$work/basic.json" > /dev/null
sha_of() { python3 -c 'import json,sys
for e in json.load(open(sys.argv[1]))["volumes"][0]["entries"]:
    if e["path"] == sys.argv[2]: print(e["sha256"])' "$1" "$2"; }

"$recover" scan "$work/basic.img" --quiet --find TXT > "$work/out.txt" 2> /dev/null
grep -qx '5 Matches Found' "$work/out.txt" || { cat "$work/out.txt"; fail "count of hits"; }
expected=$(python3 -c 'import json,sys
for e in json.load(open(sys.argv[1]))["volumes"][0]["entries"]:
    if "txt" in e["name"].lower() and e["path"]: print(e["path"])' "$work/basic.json" | sort)
actual=$(sed -n '/^5 Matches Found$/,$p' "$work/out.txt" | tail -n +2 | sed 's/^  //' | sort)
[ "$expected" = "$actual" ] || { echo "$actual"; fail "hits differ from the manifest"; }
"$recover" scan "$work/basic.img" --quiet --find "no such name" 2> /dev/null | grep -qx '0 Matches Found' || fail "no hits"

"$recover" scan "$work/basic.img" --quiet --save "$work/saved" --select find:PLAN find:readme > /dev/null 2>&1
[ "$(cd "$work/saved/Root" && find . -type f | sort | tr '\n' ' ')" = "./Documents/Projects/plan.txt ./readme.txt " ] ||
  fail "find: marked other files"
[ "$(sha256sum < "$work/saved/Root/readme.txt" | cut -d' ' -f1)" = "$(sha_of "$work/basic.json" readme.txt)" ] ||
  fail "saved readme differs"

"$recover" scan "$work/basic.img" --quiet --session-out "$work/s.nvs" > /dev/null 2>&1
for source in "$work/basic.img" "$work/s.nvs"; do
  for entry in readme.txt Photos/holiday.jpg Documents/Projects/plan.txt; do
    "$recover" preview "$source" --entry "$entry" --out "$work/p.bin" 2> /dev/null || fail "preview $entry"
    [ "$(sha256sum < "$work/p.bin" | cut -d' ' -f1)" = "$(sha_of "$work/basic.json" "$entry")" ] ||
      fail "preview of $entry from $source differs"
  done
done
"$recover" preview "$work/basic.img" --entry readme.txt 2> /dev/null | grep -qx 'Nua test volume.' || fail "stdout"
status=0
"$recover" preview "$work/basic.img" --entry Documents > /dev/null 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "a folder is no preview: exit $status"
status=0
"$recover" preview "$work/basic.img" > /dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || fail "no --entry: exit $status"
echo "find and preview: all checks passed"
