#!/usr/bin/env bash
# A signature search killed midway resumes from its recovery pair: the disk search of carve-disk
# copies spread over a 4 GiB sparse disk, and the free-space searches of a FAT32 volume and of an
# HFS+ volume inside a GPT disk, are each killed once past the middle copy; both files of the pair
# are there, `nua-recover resume` finishes the search, and its tree equals that of a search never
# interrupted (same finds, same names, same numbers); the pair is gone at the end.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
pid=
cleanup() {
  if [ -n "$pid" ]; then kill -9 "$pid" 2> /dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT
"$mkimage" make carve-disk "$work/carve.img" > /dev/null
disk="$work/disk.img"
cp "$work/carve.img" "$disk"
truncate -s 512M "$disk"
cat "$work/carve.img" >> "$disk"
truncate -s 4G "$disk"
cat "$work/carve.img" >> "$disk"
middleCopyEnd=$(( (512 * 1024 * 1024 + $(stat -c %s "$work/carve.img")) / 512 ))

# The pair lives in $XDG_STATE_HOME/nua-recovery, but in /var/lib/nua-recovery for root; root is
# pointed at the test's folder instead.
export XDG_STATE_HOME="$work/state"
folder="$XDG_STATE_HOME/nua-recovery"
folderOption=()
if [ "$(id -u)" -eq 0 ]; then folderOption=(--recovery-folder "$folder"); fi
pair="$folder/KelvoMediaAutoRecovery.dat"
info="$folder/KelvoMediaAutoRecoveryInfo.dat"

# Runs `search` whole, then again killed once its Info file is past `$1` (a sector, or a cluster for a
# volume's free space), and resumes it: the resumed tree must equal the whole one, and no pair stay.
killAndResume() {
  local past=$1 what=$2
  "$recover" "${search[@]}" "${folderOption[@]}" > "$work/whole.jsonl"
  [ ! -e "$pair" ] && [ ! -e "$info" ] || { echo "a finished $what left its pair"; exit 1; }
  grep -q '"name":"file3.jpg"' "$work/whole.jsonl" || { echo "the whole $what found too little"; exit 1; }

  "$recover" "${search[@]}" "${folderOption[@]}" > /dev/null 2>&1 &
  pid=$!
  local position=0
  for _ in $(seq 1 1200); do
    if [ -s "$info" ]; then
      position=$(od -An -tu8 --endian=big -N8 "$info" | tr -d ' ')
      [ "$position" -gt "$past" ] && break
    fi
    kill -0 "$pid" 2> /dev/null || break
    sleep 0.05
  done
  if ! kill -9 "$pid" 2> /dev/null; then echo "the $what ended before it could be killed (at $position)"; exit 1; fi
  wait "$pid" 2> /dev/null || true
  pid=
  [ "$position" -gt "$past" ] || { echo "the $what never passed $past ($position)"; exit 1; }
  [ -s "$pair" ] && [ -s "$info" ] || { echo "the killed $what left no pair"; ls -la "$folder"; exit 1; }

  "$recover" resume --json --quiet "${folderOption[@]}" > "$work/resumed.jsonl"
  cmp -s "$work/whole.jsonl" "$work/resumed.jsonl" || {
    echo "the resumed tree of the $what differs from the whole one"
    diff "$work/whole.jsonl" "$work/resumed.jsonl" | head -20
    exit 1
  }
  [ ! -e "$pair" ] && [ ! -e "$info" ] || { echo "the resumed $what left its pair"; exit 1; }
}

search=(scan "$disk" --mode photos-advanced --target disk --signatures all --json --quiet)
killAndResume "$middleCopyEnd" "disk search"

# The same for the free-space search of a FAT32 volume, whose position counts clusters: carve-disk
# copies written into free clusters at 64 MiB, 2 GiB and near the end of a 4 GiB sparse volume.
fat="$work/fat.img"
truncate -s 4G "$fat"
mkfs.fat -F 32 -n FREESPACE "$fat" > /dev/null
clusterAfterMiddleCopy=$(python3 - "$fat" "$work/carve.img" << 'PY'
import struct, sys
with open(sys.argv[1], "r+b") as f:
    boot = f.read(512)
    bytesPerSector = struct.unpack_from("<H", boot, 11)[0]
    clusterBytes = boot[13] * bytesPerSector
    dataStart = (struct.unpack_from("<H", boot, 14)[0] + boot[16] * struct.unpack_from("<I", boot, 36)[0]) * bytesPerSector
    carve = open(sys.argv[2], "rb").read()
    for offset in (64 << 20, 2 << 30, (4 << 30) - (64 << 20)):
        f.seek(dataStart + offset)
        f.write(carve)
print(((2 << 30) + len(carve)) // clusterBytes + 2)
PY
)
search=(scan "$fat" --mode photos-advanced --target volume --signatures all --json --quiet)
killAndResume "$clusterAfterMiddleCopy" "FAT free-space search"

# And for the free-space search of an HFS+ volume that begins inside its device (the kit's carve-hfs
# in a GPT, made 4 GiB), whose position counts 4 KiB blocks: the resume must find the volume again.
hfs="$work/hfs.img"
"$mkimage" make carve-hfs "$hfs" --size-mib 4096 > /dev/null
blockAfterMiddleCopy=$(python3 - "$hfs" "$work/carve.img" << 'PY'
import sys
volumeStart = 64 * 512
with open(sys.argv[1], "r+b") as f:
    carve = open(sys.argv[2], "rb").read()
    for offset in (64 << 20, 2 << 30, (4 << 30) - (64 << 20)):
        f.seek(volumeStart + offset)
        f.write(carve)
print(((2 << 30) + len(carve)) // 4096)
PY
)
search=(scan "$hfs" --mode photos-advanced --target volume --signatures all --json --quiet)
killAndResume "$blockAfterMiddleCopy" "HFS+ free-space search"

# Nothing left to resume is an error, not a scan.
status=0
"$recover" resume "${folderOption[@]}" > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q "no interrupted search to resume" "$work/err.txt" || { echo "resume without a pair"; exit 1; }
# A pair that doesn't decode is removed with a note and nothing resumes.
mkdir -p "$folder"
printf 'not a pair' > "$pair"
: > "$info"
status=0
"$recover" resume "${folderOption[@]}" > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q "could not be used and was removed" "$work/err.txt" || { echo "damaged pair"; exit 1; }
[ ! -e "$pair" ] && [ ! -e "$info" ] || { echo "a damaged pair stayed"; exit 1; }
echo "resume: all checks passed"
