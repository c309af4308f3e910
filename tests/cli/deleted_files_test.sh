#!/usr/bin/env bash
# nua-recover scan --mode files on the demo disk, as run.sh runs it: the deleted photos of its
# journaled HFS+ volume are saved under their folders with the manifest's SHA-256, and nothing else.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$mkimage" make demo "$work/demo.img" --manifest "$work/demo.json" > /dev/null
"$recover" scan "$work/demo.img" --mode files --volume 0 --save "$work/out" --select all --quiet > /dev/null 2>&1
expected=$(python3 -c '
import json, sys
volume = json.load(open(sys.argv[1]))["volumes"][0]
assert volume["name"] == "Family Photos"
for e in volume["entries"]:
    if e.get("deleted") and not e.get("folder"):
        print(e["sha256"] + "  Root/" + e["path"])' "$work/demo.json" | sort)
[ -n "$expected" ] || { echo "the demo has no deleted photos"; exit 1; }
actual=$(cd "$work/out" && find . -type f | sed 's|^\./||' | sort | while IFS= read -r f; do
  echo "$(sha256sum "$f" | cut -d' ' -f1)  $f"; done | sort)
[ "$expected" = "$actual" ] || { echo "saved files differ"; diff <(echo "$expected") <(echo "$actual"); exit 1; }
echo "deleted files: all checks passed"
