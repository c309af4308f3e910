#!/usr/bin/env bash
# Walks every screen of the desktop program under Xvfb with the demo disk image and writes one PNG
# per screen, named after its tab identifier, into a folder (default ./screenshots); the last one
# shows the tree with a find for "jpg" stepped to its second hit and the preview window over it.
#   tools/screenshots.sh [OUT_DIR] [BUILD_DIR]
# BUILD_DIR defaults to build/release; nua-recovery and nua-mkimage are built there when missing.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
out="$(realpath -m "${1:-screenshots}")"
bin="$(realpath -m "${2:-$root/build/release}")"
app="$bin/src/ui/nua-recovery"
mkimage="$bin/tools/imagekit/nua-mkimage"
if [ ! -x "$app" ] || [ ! -x "$mkimage" ]; then
  if [ "$bin" = "$root/build/release" ]; then
    (cd "$root" && cmake --preset release >/dev/null && cmake --build --preset release --target nua-recovery nua-mkimage >&2)
  else
    cmake --build "$bin" --target nua-recovery nua-mkimage >&2
  fi
fi
command -v xvfb-run >/dev/null || { echo "screenshots.sh: xvfb-run is needed (Debian package xvfb)" >&2; exit 1; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
"$mkimage" make demo "$work/demo.img" --manifest "$work/demo.json" >/dev/null
rm -rf "$out"
mkdir -p "$out"
# Signature files are copied into the user's data folder on first use: keep that in the scratch folder.
XDG_DATA_HOME="$work/data" xvfb-run -a -s "-screen 0 1280x900x24" \
  "$app" --walk-screens "$out" "$work/demo.img"
count=$(find "$out" -name '*.png' | wc -l)
echo "Wrote $count screens into $out"
[ "$count" -ge 13 ]
