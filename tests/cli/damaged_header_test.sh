#!/usr/bin/env bash
# nua-recover on bare volume images whose primary header is lost but whose alternate is intact: an
# HFS+ image, an HFS wrapper image with its outer header zeroed, and a journaled image in the files
# mode. Each is listed as one partition and volume at sector 0, and its files are saved with the
# manifest's SHA-256; --quiet leaves standard error empty.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The manifest's files with content (live, or deleted ones for the files mode), as "sha256  path".
expected_files() {
  python3 -c '
import json, sys
volume = json.load(open(sys.argv[1]))["volumes"][0]
deleted = sys.argv[2] == "deleted"
for e in volume["entries"]:
    if not e["folder"] and e["size"] > 0 and bool(e.get("deleted")) == deleted:
        print(e["sha256"] + "  Root/" + e["path"])' "$1" "$2" | sort
}
saved_files() {
  (cd "$1" && find . -type f -size +0 | sed 's|^\./||' | sort | while IFS= read -r f; do
    echo "$(sha256sum "$f" | cut -d' ' -f1)  $f"; done | sort)
}
zero_primary_header() { dd if=/dev/zero of="$1" bs=512 seek=2 count=1 conv=notrunc status=none; }

check() {  # name scenario which-files scan-options...
  local name=$1 scenario=$2 which=$3
  shift 3
  "$mkimage" make "$scenario" "$work/$name.img" --manifest "$work/$name.json" > /dev/null
  zero_primary_header "$work/$name.img"
  "$recover" partitions "$work/$name.img" | grep -q '^\[0\] .*' || { echo "$name: no partition row"; exit 1; }
  "$recover" partitions "$work/$name.img" | grep -q 'Start Sector: 0$' || { echo "$name: not at sector 0"; exit 1; }
  "$recover" scan "$work/$name.img" "$@" --quiet --save "$work/$name.out" --select all > /dev/null 2> "$work/$name.err"
  [ ! -s "$work/$name.err" ] || { echo "$name: --quiet printed"; cat "$work/$name.err"; exit 1; }
  local expected actual
  expected=$(expected_files "$work/$name.json" "$which")
  actual=$(saved_files "$work/$name.out")
  [ -n "$expected" ] || { echo "$name: the manifest has no files"; exit 1; }
  [ "$expected" = "$actual" ] || { echo "$name: saved files differ"; diff <(echo "$expected") <(echo "$actual"); exit 1; }
}

check plain hfs-damaged-header live
check wrapper hfs-wrapper live
check advanced hfs-damaged-header live --tree-scan advanced --signatures skip
check journaled hfs-journal-deleted deleted --mode files --volume 0 --signatures skip
echo "damaged header: all checks passed"
