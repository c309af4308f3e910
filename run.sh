#!/usr/bin/env bash
# Installs what is missing, builds in Release, and runs the main job on the bundled demo image
# (or on the image or device given as the first argument).
set -euo pipefail
cd "$(dirname "$0")"
./scripts/ensure-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target nua-recover nua-mkimage >&2
bin=build/release

if [ $# -gt 0 ]; then
  exec "$bin/src/cli/nua-recover" info "$@"
fi

demo="$bin/demo.img"
if [ ! -f "$demo" ]; then
  scenario=demo
  "$bin/tools/imagekit/nua-mkimage" list | grep -q '^demo ' || scenario=hfs-basic
  "$bin/tools/imagekit/nua-mkimage" make "$scenario" "$demo" --manifest "$bin/demo.json" >&2
fi
echo "Demo image: $demo"
"$bin/src/cli/nua-recover" info "$demo"
