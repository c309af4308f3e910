#!/usr/bin/env bash
# nua-recover scan for every goal of nua-recover plan, on the kit's demo disk (a journaled HFS+ volume
# and a FAT32 volume): the scan starts the very entry with the very arguments the plan names for the
# same answers, the range reaches the volume, and mistyped answers end with exit 2 and a clear error.
set -uo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_DATA_HOME="$work/data"
"$mkimage" make demo "$work/demo.img" > /dev/null || exit 1
failed=0
fail() { echo "FAIL: $*"; failed=1; }

# scan options | plan options, for the same goal, target and answers.
cases=(
  "--mode files --volume 0|--mode files --target volume --content Apple_HFS --signatures skip"
  "--mode files --volume 0 --fs-recovery no --signatures all|--mode files --target volume --content Apple_HFS --fs-recovery no --signatures all"
  "--mode files-advanced --volume 0 --signatures all|--mode files-advanced --target volume --content Apple_HFS --signatures all"
  "--mode files-advanced --volume 1 --signatures jpg,PNG --range 20-80|--mode files-advanced --target volume --content FAT32 --signatures jpg,png --range 20-80"
  "--mode photos --volume 1 --signatures all|--mode photos --target volume --content FAT32 --signatures all"
  "--mode photos --volume 1|--mode photos --target volume --content FAT32 --signatures skip"
  "--mode photos-advanced --volume 0 --signatures mov|--mode photos-advanced --target volume --content Apple_HFS --signatures mov"
  "--mode photos-advanced --target disk --signatures jpg --range 10-90|--mode photos-advanced --target disk --signatures jpg --range 10-90"
  "--mode partitions --partition 0 --tree-scan advanced --signatures all|--mode partitions --target partition --content Apple_HFS --tree-scan advanced --signatures all"
  "--mode partitions --target partition --signatures skip|--mode partitions --target partition --content Apple_HFS --signatures skip"
  "--mode formatted --volume 0 --signatures all --range 12.5-87.5|--mode formatted --target volume --content Apple_HFS --signatures all --range 12.5-87.5"
)
for case in "${cases[@]}"; do
  scan_args=${case%%|*}
  plan_args=${case#*|}
  # shellcheck disable=SC2086
  "$recover" plan $plan_args | grep -E '^(entry|args):' > "$work/plan.txt"
  # shellcheck disable=SC2086
  "$recover" scan "$work/demo.img" $scan_args --verbose --quiet --json > "$work/out.jsonl" 2> "$work/err.txt"
  grep -E '^(entry|args):' "$work/err.txt" > "$work/scan.txt"
  [ -s "$work/plan.txt" ] && cmp -s "$work/plan.txt" "$work/scan.txt" \
    || fail "scan $scan_args started $(tr '\n' ' ' < "$work/scan.txt"), plan names $(tr '\n' ' ' < "$work/plan.txt")"
  # The range the answers give is the one the scanned volume holds; the whole target without one.
  range=$(grep -oE -- '--range [0-9.]+-[0-9.]+' <<< "$scan_args" | cut -d' ' -f2)
  grep -qx "range: ${range:-0-100}" "$work/err.txt" || fail "scan $scan_args: range $(grep '^range' "$work/err.txt")"
  # --json keeps standard output to the tree's lines.
  grep -qv '^{' "$work/out.jsonl" && fail "scan $scan_args --json printed other lines"
done

# The target the request reached: the disk itself, or the volume of the row asked for.
"$recover" scan "$work/demo.img" --mode photos-advanced --target disk --signatures jpg --verbose --quiet \
  > /dev/null 2> "$work/err.txt"
grep -qE "^target: disk $work/demo.img, [0-9]+ sectors of 512 bytes$" "$work/err.txt" || fail "disk target: $(head -1 "$work/err.txt")"
grep -qx 'signatures: jpg' "$work/err.txt" || fail "disk signatures: $(grep '^signatures' "$work/err.txt")"
"$recover" scan "$work/demo.img" --mode files-advanced --volume 1 --signatures JPG,png,jpg --verbose --quiet \
  > /dev/null 2> "$work/err.txt"
grep -qE '^target: volume "PHOTOS" \(FAT32\) from sector [1-9][0-9]*, ' "$work/err.txt" || fail "volume 1 target"
grep -qx 'signatures: jpg, png' "$work/err.txt" || fail "listed signatures: $(grep '^signatures' "$work/err.txt")"

# Answers refused before anything is opened: exit 2, the message, and the usage.
refused=(
  "--mode recover|--mode takes files, files-advanced, photos"
  "--mode files --target floppy|--target takes volume, disk, partition or lost"
  "--mode files --signatures jpg,,png|--signatures takes all, skip or a list of extensions"
  "--mode files-advanced --signatures jpg,nosuch,zzz|the extension nosuch, zzz"
  "--mode files-advanced --signatures all --range 90-10|--range takes START-END in percent"
  "--mode files-advanced --signatures all --range 10-101|--range takes START-END in percent"
  "--mode files-advanced --signatures all --range 10|--range takes START-END in percent"
  "--mode files-advanced --range 10-90|--signatures skip leaves out"
  "--mode photos --signatures all --range 10-90|--mode photos always searches the whole target"
  "--mode photos-advanced --target disk --volume 1|--target disk scans the disk itself"
  "--mode files --target partition|--target partition goes with --mode partitions"
  "--mode files --fs-recovery maybe|--fs-recovery takes yes or no"
  "--mode partitions --fs-recovery no|--fs-recovery belongs to a volume"
  "--mode files --tree-scan advanced|--tree-scan belongs to --mode partitions"
)
for case in "${refused[@]}"; do
  args=${case%%|*}
  message=${case#*|}
  status=0
  # shellcheck disable=SC2086
  "$recover" scan "$work/demo.img" $args > "$work/out.txt" 2> "$work/err.txt" || status=$?
  [ "$status" -eq 2 ] && grep -qF -- "$message" "$work/err.txt" && grep -q '^usage: nua-recover scan' "$work/err.txt" \
    && [ ! -s "$work/out.txt" ] || fail "scan $args: exit $status, $(head -1 "$work/err.txt")"
done
# A target the goal's drive list doesn't offer is the wizard's answer: exit 1 with its reason.
status=0
"$recover" scan "$work/demo.img" --mode files --target disk > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'is not offered for this mode' "$work/err.txt" || fail "disk for files: exit $status"
# Asking for a file system scan of a volume that supports none is refused, not quietly changed.
status=0
"$recover" scan "$work/demo.img" --mode photos-advanced --target disk --fs-recovery yes --signatures jpg \
  > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 2 ] || fail "--fs-recovery with a disk: exit $status"

# A volume without a journal offers no deleted-file scan: asking for one is refused, and the fast file
# goal needs the search that --signatures skip leaves out.
"$mkimage" make hfs-basic "$work/basic.img" > /dev/null || exit 1
status=0
"$recover" scan "$work/basic.img" --mode files --fs-recovery yes > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'volume 0 of .* supports no file system recovery' "$work/err.txt" \
  || fail "--fs-recovery yes without a journal: exit $status"
status=0
"$recover" scan "$work/basic.img" --mode files > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'needs a signature search' "$work/err.txt" || fail "files without a journal: exit $status"

[ "$failed" -eq 0 ] && echo "scan goals: all checks passed"
exit "$failed"
