#!/usr/bin/env bash
# Disk image containers: E01 sets (ewfacquire), split raw sets and kit-written UDIF images give the
# same scan results and saved bytes as the raw image; damaged or unsupported containers are errors.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
command -v ewfacquire > /dev/null && command -v dmg2img > /dev/null || { echo "ewf-tools and dmg2img needed"; exit 1; }

scan() {  # scan IMAGE OUTDIR: the entry lines (paths and extents, no source path) and saved files
  "$recover" scan "$1" $mode --json --quiet --signatures skip --save "$2" --select all 2> /dev/null | grep '"path"' || true
}
saved_sums() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum); }

for scenario in hfs-basic fat16-basic; do
  mode=""
  [ "$scenario" = fat16-basic ] && mode="--mode files"
  raw="$work/$scenario.img"
  "$mkimage" make "$scenario" "$raw" > /dev/null
  size=$(stat -c %s "$raw")
  scan "$raw" "$work/$scenario-raw-out" > "$work/$scenario-raw.jsonl"
  [ -s "$work/$scenario-raw.jsonl" ] || { echo "$scenario: raw scan found nothing"; exit 1; }
  saved_sums "$work/$scenario-raw-out" > "$work/$scenario-raw.sums"

  # E01 in 1 MiB segments, so that the set has several.
  ewfacquire -u -q -t "$work/$scenario" -S 1MiB -C "case 27" -e "Examiner Nua" -c none "$raw" > /dev/null 2>&1
  [ "$scenario" = hfs-basic ] || [ -f "$work/$scenario.E02" ] || { echo "$scenario: expected a multi-segment E01 set"; exit 1; }
  # Split raw sets in the three namings.
  mkdir -p "$work/s1" "$work/s0" "$work/sa"
  split -b 1M -d -a 3 --numeric-suffixes=1 "$raw" "$work/s1/$scenario.img."
  split -b 1M -d -a 3 "$raw" "$work/s0/$scenario.img."
  split -b 1M "$raw" "$work/sa/$scenario.img"
  containers=("$work/$scenario.E01" "$work/s1/$scenario.img.001" "$work/s0/$scenario.img.000" "$work/sa/${scenario}.imgaa")
  for encoding in raw zlib bzip2; do
    "$mkimage" udif "$raw" "$work/$scenario-$encoding.dmg" "$encoding"
    # dmg2img, an independent reader, turns the kit's image back into the raw bytes.
    dmg2img -s "$work/$scenario-$encoding.dmg" "$work/$scenario-$encoding.back" > /dev/null 2>&1
    cmp -s <(head -c "$size" "$work/$scenario-$encoding.back") "$raw" \
      || { echo "$scenario $encoding: dmg2img does not give the raw bytes back"; exit 1; }
    containers+=("$work/$scenario-$encoding.dmg")
  done
  for container in "${containers[@]}"; do
    out="$work/out-$(basename "$container")"
    scan "$container" "$out" > "$work/scan.jsonl"
    cmp -s "$work/scan.jsonl" "$work/$scenario-raw.jsonl" || { echo "$container: scan differs from the raw image's"; diff "$work/scan.jsonl" "$work/$scenario-raw.jsonl" | head; exit 1; }
    saved_sums "$out" | cmp -s - "$work/$scenario-raw.sums" || { echo "$container: saved files differ"; exit 1; }
    "$recover" info "$container" > "$work/info.txt"
    grep -q "^Size: .*($size bytes)" "$work/info.txt" || { echo "$container: size"; cat "$work/info.txt"; exit 1; }
  done
done

# The partitions inside a .dmg are listed as for the raw disk.
"$mkimage" make gpt "$work/gpt.img" > /dev/null
"$mkimage" udif "$work/gpt.img" "$work/gpt.dmg" zlib
"$recover" drives --image "$work/gpt.img" | grep -v "^    Mount Point:" | sed 's/gpt\.img/gpt.X/' > "$work/a.txt"
"$recover" drives --image "$work/gpt.dmg" | grep -v "^    Mount Point:" | sed 's/gpt\.dmg/gpt.X/' > "$work/b.txt"
grep -q '^Volumes (3)' "$work/a.txt" && cmp -s "$work/a.txt" "$work/b.txt" || { echo "dmg partitions"; diff "$work/a.txt" "$work/b.txt"; exit 1; }

# A session of an E01 set names the container and reopens from it with the same tree and files.
"$recover" scan "$work/fat16-basic.E01" --mode files --json --quiet --session-out "$work/s.nvs" > "$work/scan.jsonl" 2> /dev/null
grep -qa 'containerKind' "$work/s.nvs" && grep -qa 'E01' "$work/s.nvs" || { echo "session lacks the container kind"; exit 1; }
"$recover" open "$work/s.nvs" --json > "$work/open.jsonl" 2> /dev/null
cmp -s <(grep '"path"' "$work/scan.jsonl") <(grep '"path"' "$work/open.jsonl") || { echo "reopened E01 session differs"; exit 1; }
"$recover" open "$work/s.nvs" --quiet --save "$work/session-out" --select all > /dev/null 2>&1 || true
saved_sums "$work/session-out" | cmp -s - "$work/fat16-basic-raw.sums" || { echo "saved from the session differ"; exit 1; }

# info: the acquiry fields and the stored MD5 checked against the media.
"$recover" info "$work/hfs-basic.E01" --verify > "$work/info.txt"
for line in '^Container: E01$' '^Case Number: case 27$' '^Examiner Name: Examiner Nua$' '^Acquiry Date: .' \
            "^Stored MD5: $(md5sum "$work/hfs-basic.img" | cut -d' ' -f1)\$" '^MD5 Check: matches$'; do
  grep -qE "$line" "$work/info.txt" || { echo "info lacks $line"; cat "$work/info.txt"; exit 1; }
done

# A truncated E01 segment and a missing middle split segment are errors, not garbage.
cp "$work"/fat16-basic.E0* "$work/s1/"
truncate -s 300000 "$work/s1/fat16-basic.E02"
status=0
"$recover" scan "$work/s1/fat16-basic.E01" --mode files --json --quiet --signatures skip > "$work/t.jsonl" 2> "$work/err.txt" \
  || status=$?
[ "$status" -ne 0 ] && ! grep -q '"path":"Root/' "$work/t.jsonl" || { echo "truncated E01 scanned, exit $status"; exit 1; }
"$recover" info "$work/s1/fat16-basic.E01" > "$work/info.txt" || true
grep -q 'cannot be read' "$work/info.txt" || { echo "truncated E01 info"; cat "$work/info.txt"; exit 1; }
rm "$work/s1/fat16-basic.img.003"
status=0
"$recover" info "$work/s1/fat16-basic.img.001" > "$work/info.txt" || status=$?
[ "$status" -eq 1 ] && grep -q "missing segment $work/s1/fat16-basic.img.003" "$work/info.txt" \
  || { echo "missing middle segment"; cat "$work/info.txt"; exit 1; }

# LZFSE chunks: a clear refusal, not garbage.
"$mkimage" udif "$work/hfs-basic.img" "$work/lzfse.dmg" lzfse-marked
status=0
"$recover" info "$work/lzfse.dmg" > "$work/info.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'compressed with LZFSE, not supported; convert it with' "$work/info.txt" \
  || { echo "LZFSE"; cat "$work/info.txt"; exit 1; }
echo ok
