#!/usr/bin/env bash
# Writes what nua-recover prints for every kit scenario (scan, partitions, drives, find-volumes
# and plan, all as JSON) into OUTDIR, one file per command, so that two builds can be compared
# with `diff -r`: a refactoring must leave every file the same.
#   tools/cli_outputs.sh BUILD_DIR OUTDIR
set -uo pipefail
build=${1:?usage: tools/cli_outputs.sh BUILD_DIR OUTDIR}
out=${2:?usage: tools/cli_outputs.sh BUILD_DIR OUTDIR}
cli="$build/src/cli/nua-recover"
kit="$build/tools/imagekit/nua-mkimage"
images="$out/.images"
mkdir -p "$out" "$images"

run() { # NAME COMMAND... : stdout, stderr and the exit code into OUTDIR/NAME
  local name=$1; shift
  "$@" >"$out/$name.out" 2>"$out/$name.err"
  echo "exit $?" >>"$out/$name.out"
  sed -i "s#$images/##g" "$out/$name.out" "$out/$name.err"
}

for scenario in $("$kit" list | awk '{print $1}'); do
  args=()
  [ "$scenario" = hfs-many ] && args=(--files 300)
  img="$images/$scenario.img"
  "$kit" make "$scenario" "$img" "${args[@]}" >/dev/null 2>&1 || { echo "kit failed: $scenario"; continue; }
  run "$scenario.partitions" "$cli" partitions "$img" --json
  run "$scenario.drives" "$cli" drives --image "$img" --json
  run "$scenario.scan" "$cli" scan "$img" --json
  for v in 0 1 2; do
    run "$scenario.scan-files-$v" "$cli" scan "$img" --mode files --volume "$v" --json
  done
  run "$scenario.scan-partition-1" "$cli" scan "$img" --partition 1 --json
  run "$scenario.scan-formatted" "$cli" scan "$img" --mode formatted --json
  run "$scenario.scan-advanced" "$cli" scan "$img" --tree-scan advanced --json
  case $scenario in
    lost-*) run "$scenario.find-volumes" "$cli" find-volumes "$img" --json
            run "$scenario.scan-lost" "$cli" scan "$img" --target lost --json ;;
  esac
done
rm -rf "$images"

for mode in files files-advanced photos photos-advanced partitions formatted; do
  for target in volume disk partition lost; do
    for content in Apple_HFS FAT32 Apple_Boot; do
      for fs in yes no; do
        for sig in next skip; do
          for tree in standard advanced; do
            run "plan.$mode.$target.$content.$fs.$sig.$tree" "$cli" plan --mode "$mode" \
              --target "$target" --content "$content" --fs-recovery "$fs" --signatures "$sig" \
              --tree-scan "$tree" --range 10-90 --json
          done
        done
      done
    done
  done
done
