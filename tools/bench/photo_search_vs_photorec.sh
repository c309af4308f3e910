#!/usr/bin/env bash
# Our whole-disk photo search against PhotoRec (Debian's testdisk package: apt-get install testdisk) on
# the same kit-made carve image, in one run. The image (`nua-mkimage make carve-disk --size-mib N`:
# copies of the carve samples with text filler between, and decoys and JPEGs in two pieces) is read
# into the page cache first, so both tools read from memory. Each tool runs under /usr/bin/time -v
# and saves what it finds; a saved file is "recovered whole" when its first lengthBytes hash to a
# planted file's sha256, each planted file counted once. Decoys and fragmented files are not counted.
# Prints a Markdown table. Not a test: timings depend on the machine and what else runs on it.
# Rows: our search saving every find; our search alone (--json, nothing saved); PhotoRec with its
# defaults (every file type, plain text too, so it also saves the filler); PhotoRec with text off.
# Our save flushes each file to its disk (fsync) to report write failures, PhotoRec does not: on a
# real disk that flush, not the search, sets our save time, so WORK_DIR=/dev/shm/... (about 5 GiB at
# 2048) compares the searches; a disk WORK_DIR shows the destination's cost.
# CPU s is user plus system time, steadier than wall time when other work shares the machine.
# usage: tools/bench/photo_search_vs_photorec.sh BUILD_DIR [SIZE_MIB]   (default 2048)
#        WORK_DIR=DIR keeps the image and the saved files there instead of a temporary folder;
#        an image already there is reused.
set -euo pipefail
build=$(cd "${1:?usage: tools/bench/photo_search_vs_photorec.sh BUILD_DIR [SIZE_MIB]}" && pwd)
size=${2:-2048}
recover="$build/src/cli/nua-recover"
kit="$build/tools/imagekit/nua-mkimage"
command -v photorec >/dev/null || { echo "photorec not found: apt-get install testdisk" >&2; exit 1; }
if [ -n "${WORK_DIR:-}" ]; then work=$WORK_DIR; mkdir -p "$work"; else
  work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
fi
image="$work/carve-$size.img"
here=$(cd "$(dirname "$0")" && pwd)

[ -f "$image" ] || "$kit" make carve-disk "$image" --size-mib "$size" --manifest "$image.json" >/dev/null
cat "$image" > /dev/null

timed() {  # NAME COMMAND...: runs it under time -v into $work/NAME.time
  local name=$1; shift
  /usr/bin/time -v -o "$work/$name.time" "$@" > "$work/$name.out" 2> "$work/$name.err" || {
    echo "$name failed:" >&2; tail -5 "$work/$name.err" >&2; exit 1; }
}

rm -rf "$work/ours" "$work/photorec" "$work/photorec-notext"
timed ours "$recover" scan "$image" --mode photos-advanced --target disk --signatures all --save "$work/ours" --quiet
timed ours-json "$recover" scan "$image" --mode photos-advanced --target disk --signatures all --json
mkdir -p "$work/photorec" "$work/photorec-notext"
# partition_none: the image is a bare disk; options,paranoid,search: PhotoRec's default file types.
# Those include plain text, so PhotoRec also saves the filler; the second run turns text off.
(cd "$work" && timed photorec photorec /log /d "$work/photorec/recup" /cmd "$image" partition_none,options,paranoid,search)
(cd "$work" && timed photorec-notext photorec /d "$work/photorec-notext/recup" /cmd "$image" \
  partition_none,options,paranoid,fileopt,txt,disable,search)

python3 "$here/photo_search_count.py" "$image.json" "$size" \
  "nua-recover (save)=$work/ours.time=$work/ours" \
  "nua-recover (scan, --json)=$work/ours-json.time=" \
  "PhotoRec=$work/photorec.time=$work/photorec" \
  "PhotoRec, text off=$work/photorec-notext.time=$work/photorec-notext"
