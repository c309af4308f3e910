#!/usr/bin/env bash
# nua-recover on FAT images other formatters and disks leave: the sector size info reports and uses,
# Windows-style and near-limit FAT16 volumes listed and saved byte for byte, and the GPT header the
# partition list came from.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "$1"; shift; [ $# -gt 0 ] && cat "$@"; exit 1; }

# Every live file the scan lists must be saved with the size and digest the manifest gives it.
check_saved() {
  local name=$1 checked=0
  "$recover" scan "$work/$name.img" --mode files --json --quiet > "$work/$name.jsonl" 2> /dev/null
  "$recover" scan "$work/$name.img" --mode files --quiet --save "$work/$name-out" --select all > /dev/null 2>&1 || true
  while IFS= read -r path; do
    sum=$(sha256sum "$work/$name-out/$path" | cut -d' ' -f1)
    grep -q "\"sha256\": *\"$sum\"" "$work/$name.json" || fail "$name: $path saved with other bytes"
    checked=$((checked + 1))
  done < <(grep '"folder":false' "$work/$name.jsonl" | grep '"deleted":false' | grep -v '"size":0,' |
           sed -E 's/^\{"path":"([^"]*)".*/\1/')
  [ "$checked" -ge 30 ] || fail "$name: only $checked live files checked"
}

# 4096-byte sectors: bare and inside an MBR, said by info and used for the volume row.
"$mkimage" make fat-4k-sectors "$work/bare4k.img" --manifest "$work/bare4k.json" > /dev/null
"$recover" info "$work/bare4k.img" > "$work/info.txt"
grep -qx 'Sector size: 4096' "$work/info.txt" || fail "bare 4k sector size" "$work/info.txt"
grep -qx 'Layout: FAT' "$work/info.txt" || fail "bare 4k layout" "$work/info.txt"
check_saved bare4k
"$mkimage" make mbr-4k-fat "$work/mbr4k.img" --manifest "$work/mbr4k.json" > /dev/null
"$recover" info "$work/mbr4k.img" --json > "$work/info.json"
grep -qE '"Preferred Block Size": ?4096' "$work/info.json" || fail "MBR 4k sector size" "$work/info.json"
check_saved mbr4k

# A Windows-formatted FAT12 floppy and FAT16 volume are volumes of their type, scanned and saved.
"$mkimage" make fat-windows-boot "$work/win12.img" --manifest "$work/win12.json" --fat 12 > /dev/null
"$recover" drives --image "$work/win12.img" > "$work/drives.txt"
grep -q 'File System: FAT12' "$work/drives.txt" || fail "Windows FAT12 not a volume" "$work/drives.txt"
check_saved win12
"$mkimage" make fat-windows-boot "$work/win16.img" --manifest "$work/win16.json" > /dev/null
check_saved win16
"$mkimage" make fat16-max-clusters "$work/max16.img" --manifest "$work/max16.json" > /dev/null
"$recover" drives --image "$work/max16.img" > "$work/drives.txt"
grep -q 'File System: FAT16' "$work/drives.txt" || fail "65,439 clusters not FAT16" "$work/drives.txt"
check_saved max16

# GPT: the list says which header it came from; a zeroed primary gives way to the backup.
"$mkimage" make gpt "$work/gpt.img" > /dev/null
"$recover" partitions "$work/gpt.img" --json > "$work/pt.json"
grep -qE '"GPT Header": ?"primary"' "$work/pt.json" || fail "intact GPT header" "$work/pt.json"
"$mkimage" make gpt "$work/gpt0.img" --zero-primary-header > /dev/null
"$recover" partitions "$work/gpt0.img" --json > "$work/pt0.json"
grep -qE '"GPT Header": ?"backup"' "$work/pt0.json" || fail "zeroed primary GPT header" "$work/pt0.json"
[ "$(grep -o '"Volume Start"' "$work/pt0.json" | wc -l)" -eq 2 ] || fail "backup partitions" "$work/pt0.json"
"$mkimage" make gpt "$work/gpt4k0.img" --sector-size 4096 --zero-primary-header > /dev/null
"$recover" info "$work/gpt4k0.img" > "$work/info.txt"
grep -qx 'Sector size: 4096' "$work/info.txt" || fail "4k GPT without its primary header" "$work/info.txt"
"$recover" partitions "$work/gpt4k0.img" --json > "$work/pt4k0.json"
grep -qE '"GPT Header": ?"backup"' "$work/pt4k0.json" || fail "4k GPT header" "$work/pt4k0.json"
