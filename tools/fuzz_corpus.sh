#!/usr/bin/env bash
# Makes the seed corpus of every fuzz target from the image kit: small images whole, larger ones cut
# to their first MiBs, and single structures cut out of them. Usage: tools/fuzz_corpus.sh BUILD_DIR OUT_DIR
set -euo pipefail
build=$(cd "${1:?usage: tools/fuzz_corpus.sh BUILD_DIR OUT_DIR}" && pwd)
out=${2:?usage: tools/fuzz_corpus.sh BUILD_DIR OUT_DIR}
mkimage=$build/tools/imagekit/nua-mkimage
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

targets=(hfs_volume_header hfs_btree_node hfs_node_slack hfs_catalog_scan hfs_deleted_file_scan fat_boot_sector
         fat_volume exfat_boot_region exfat_entry_set exfat_volume partition_maps partition_records session_file
         session_record signature_data formats_dispatch file_check_list udif_image recovery_pair)
for t in "${targets[@]}"; do mkdir -p "$out/$t"; done

image() { "$mkimage" make "$1" "$work/$1.img" "${@:2}" >/dev/null; }
# cut SCENARIO TARGET BYTES: the first BYTES of the image
cut() { head -c "$3" "$work/$1.img" >"$out/$2/$1"; }
# slice SCENARIO TARGET OFFSET BYTES: BYTES at OFFSET
slice() { dd if="$work/$1.img" of="$out/$2/$1-$3" iflag=skip_bytes,count_bytes bs=64K skip="$3" count="$4" status=none; }

hfs=(hfs-basic hfs-journal-deleted hfs-journal-extents hfs-wrapper hfs-fragmented hfs-flink-loop hfs-reformatted
     hfs-damaged-catalog hfs-two-extent-catalog)
for s in "${hfs[@]}"; do
  image "$s"
  cp "$work/$s.img" "$out/hfs_catalog_scan/$s"
  slice "$s" hfs_volume_header 1024 512
done
for s in hfs-basic hfs-journal-deleted hfs-journal-extents; do cp "$work/$s.img" "$out/hfs_deleted_file_scan/$s"; done
# Catalog and extents nodes: 4 KiB pieces whose descriptor has a node kind and a plausible height.
for s in hfs-basic hfs-fragmented hfs-journal-deleted; do
  size=$(stat -c %s "$work/$s.img")
  for ((at = 4096; at < size; at += 4096)); do
    read -r kind height < <(od -An -tx1 -j $((at + 8)) -N2 "$work/$s.img")
    case "$kind:$height" in ff:01 | 00:0[2-8] | 01:00) slice "$s" hfs_btree_node "$at" 4096 ;; esac
  done
done

# Catalog and extents nodes of a volume whose deletions left records in node slack and freed nodes.
image hfs-node-slack
cp "$work/hfs-node-slack.img" "$out/hfs_catalog_scan/hfs-node-slack"
cp "$work/hfs-node-slack.img" "$out/hfs_deleted_file_scan/hfs-node-slack"
size=$(stat -c %s "$work/hfs-node-slack.img")
for ((at = 4096; at < size; at += 4096)); do
  read -r kind height < <(od -An -tx1 -j $((at + 8)) -N2 "$work/hfs-node-slack.img")
  case "$kind:$height" in ff:01) slice hfs-node-slack hfs_node_slack "$at" 4096 ;; esac
done

for s in fat12-basic fat16-basic fat32-basic fat-chain-loop fat-dir-loop fat-oversized-boot fat-second-fat-differs \
         fat-zero-sectors-per-cluster; do
  image "$s"
  cut "$s" fat_volume $((2 * 1024 * 1024))
  slice "$s" fat_boot_sector 0 512
done

# exFAT: the boot region, the root and its first folders (entry sets, live and deleted), and the
# first 2.5 MiB, which hold the FAT, the bitmap and every directory of the kit's volumes.
for s in exfat-basic exfat-damaged-boot; do
  image "$s"
  cut "$s" exfat_volume $((5 * 512 * 1024))
  slice "$s" exfat_boot_region 0 $((24 * 512))
done
heap=$(od -An -tu4 -j 88 -N4 "$work/exfat-basic.img" | tr -d ' ')
slice exfat-basic exfat_entry_set $((heap * 512)) $((64 * 1024))

for s in mbr-ebr mbr-ebr-self-loop gpt hybrid apm; do
  image "$s"
  cut "$s" partition_maps $((1024 * 1024))
done
cp "$work/hfs-basic.img" "$out/partition_maps/hfs-basic"
# Kit UDIF images of a small FAT volume in each chunk encoding, and their trailers on their own.
image fat12-basic
for encoding in raw zlib bzip2 lzfse-marked; do
  "$mkimage" udif "$work/fat12-basic.img" "$work/fat12-$encoding.dmg" "$encoding"
  cp "$work/fat12-$encoding.dmg" "$out/udif_image/fat12-$encoding"
  tail -c 512 "$work/fat12-$encoding.dmg" > "$out/udif_image/koly-$encoding"
done
slice mbr-ebr partition_records 0 512
slice gpt partition_records 512 512
slice gpt partition_records 1024 128
slice apm partition_records 0 512
slice apm partition_records 512 512

if [ -x "$build/src/cli/nua-recover" ]; then
  "$build/src/cli/nua-recover" scan "$work/hfs-basic.img" --mode partitions --quiet \
    --session-out "$out/session_file/hfs-basic.nvs" >/dev/null 2>&1 || true
  "$build/src/cli/nua-recover" scan "$work/fat12-basic.img" --mode files --quiet \
    --session-out "$out/session_file/fat12-basic.nvs" >/dev/null 2>&1 || true
  for f in "$out"/session_file/*.nvs; do
    [ -f "$f" ] || continue
    # A pair's tree is coded as a session file's: a zero resume position, then the tree.
    { head -c 8 /dev/zero; cat "$f"; } >"$out/recovery_pair/$(basename "$f")"
    size=$(stat -c %s "$f")
    for at in $((size / 4)) $((size / 2)) $((size * 3 / 4)); do
      dd if="$f" of="$out/session_record/$(basename "$f")-$at" iflag=skip_bytes,count_bytes bs=96 skip="$at" count=96 \
        status=none
    done
  done
fi
for f in "$build"/data/Sig_*.dat; do [ -f "$f" ] && cp "$f" "$out/signature_data/"; done

# Small real files of the carved formats, made by whichever of Debian's tools are installed.
(
  cd "$work"
  f=$out/formats_dispatch
  for ext in jpg png gif bmp tif; do convert -size 24x16 gradient:red-blue "$f/sample.$ext" 2>/dev/null || true; done
  convert -size 24x16 gradient:red-blue -define tiff:endian=msb "$f/sample-big-endian.tif" 2>/dev/null || true
  sox -n -r 8000 -c 1 "$f/sample.wav" synth 0.05 sine 440 2>/dev/null || true
  sox -n -r 8000 -c 1 "$f/sample.aiff" synth 0.05 sine 440 2>/dev/null || true
  ffmpeg -nostdin -y -loglevel quiet -f lavfi -i sine=d=0.2 -c:a libmp3lame "$f/sample.mp3" 2>/dev/null || true
  ffmpeg -nostdin -y -loglevel quiet -f lavfi -i testsrc=d=0.2:s=32x24 "$f/sample.mp4" 2>/dev/null || true
  ffmpeg -nostdin -y -loglevel quiet -f lavfi -i testsrc=d=0.2:s=32x24 "$f/sample.avi" 2>/dev/null || true
  ffmpeg -nostdin -y -loglevel quiet -f lavfi -i testsrc=d=0.2:s=32x24 -f mpeg "$f/sample.mpg" 2>/dev/null || true
  echo "a small text" >a.txt && zip -q "$f/sample.zip" a.txt 2>/dev/null || true
  printf '{\\rtf1 {{\\NeXTGraphic a.png \\width20 \\height20}}}' >"$f/sample.rtf"
)

cp "$out"/formats_dispatch/* "$out/file_check_list/" 2>/dev/null || true

for t in "${targets[@]}"; do
  [ -n "$(ls -A "$out/$t")" ] || head -c 512 /dev/zero >"$out/$t/zeros"
done
