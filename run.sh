#!/usr/bin/env bash
# Installs what is missing, builds in Release, and recovers the deleted files of the bundled demo
# disk's journaled HFS+ volume into ./recovered/. With arguments, runs `nua-recover scan` on them
# instead, e.g.
#   ./run.sh disk.img --partition 1 --list
#   sudo ./run.sh /dev/sdb --save /media/backup/recovered --select all
set -euo pipefail
cd "$(dirname "$0")"
./scripts/ensure-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target nua-recover nua-mkimage >&2
bin=build/release

if [ $# -gt 0 ]; then
  exec "$bin/src/cli/nua-recover" scan "$@"
fi

demo="$bin/demo.img"
if [ ! -f "$demo" ]; then
  "$bin/tools/imagekit/nua-mkimage" make demo "$demo" --manifest "$bin/demo.json" >&2
fi
rm -rf recovered
echo "Searching the demo disk $demo (volume 0, the journaled HFS+ \"Family Photos\") for deleted files"
"$bin/src/cli/nua-recover" scan "$demo" --mode files --volume 0 --save recovered --select all
echo "Recovered $(find recovered -type f | wc -l) deleted files into $(pwd)/recovered:"
find recovered -type f | sort | sed 's/^/  /'
