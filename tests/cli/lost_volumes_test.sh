#!/usr/bin/env bash
# nua-recover find-volumes and scan --target lost on the kit's disks with lost HFS+ volumes: every
# volume the manifest expects is offered at its start with its validity word, figure, name and header,
# a clone is not offered twice, an independent reader (fshfsinfo) sees HFS+ where each row says, and
# the live files of each offered volume come back byte-exact through the scan.
set -euo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

check_rows() {  # manifest, find-volumes JSON lines; prints "row start sectorSize" per expected volume
  python3 - "$1" "$2" <<'PY'
import json, sys
manifest = json.load(open(sys.argv[1]))
lines = [json.loads(l) for l in open(sys.argv[2]) if l.strip()]
rows = [l["Volumes Found"] for l in lines if "Volumes Found" in l]
final = [l["PT scan list"] for l in lines if "PT scan list" in l]
assert len(final) == 1, "one final list, last"
assert "PT scan list" in lines[-1], "the final list comes last"
final = final[0]
starts = [v["Volume Start"] for v in final]
for volume in manifest["volumes"]:
    want = volume["extra"]["lostVolume"]
    start = volume["startSector"]
    if not want["found"]:
        assert start not in starts, f"volume at {start} is offered: {want['reason']}"
        continue
    assert starts.count(start) == 1, f"volume at {start} offered {starts.count(start)} times: {starts}"
    row = starts.index(start)
    got = final[row]
    assert got["Volume Name"] == want["volumeName"], (got["Volume Name"], want)
    assert got["Volume Validity"] == want["validity"], (got["Volume Validity"], want)
    assert got["WhetherAlternateSector"] == want["whetherAlternateSector"], (got, want)
    assert got["Volume Scan Type"] == 1 and got["Content"] == "Apple_HFS"
    assert got["Volume Size In Sectors"] == volume["sectorCount"], (got, volume["sectorCount"])
    found = [r for r in rows if r["Found Column"] == f"Volume Found @ Sector: {start}"]
    assert len(found) == 1, f"one live row for {start}: {rows}"
    assert found[0]["Validity Column"][:2] == [want["validity"], want["validityWord"]], found[0]
    print(row, start, manifest["sectorSize"], volume["name"])
PY
}

check_saved() {  # manifest, volume start, saved folder: every live file of that volume, by hash
  python3 - "$1" "$2" "$3" <<'PY'
import hashlib, json, os, sys
manifest = json.load(open(sys.argv[1]))
start, out = int(sys.argv[2]), sys.argv[3]
volume = next(v for v in manifest["volumes"] if v["startSector"] == start)
files = [e for e in volume["entries"] if not e["folder"] and not e["deleted"]]
assert files, "the volume has live files"
for e in files:
    path = os.path.join(out, "Root", e["path"].lstrip("/"))
    data = open(path, "rb").read()
    assert hashlib.sha256(data).hexdigest() == e["sha256"], f"{path} differs"
print(len(files))
PY
}

for scenario in lost-two-volumes lost-alternate-header lost-clone lost-damaged-catalog-header lost-last-chunk \
                lost-4k-sectors; do
  "$mkimage" make "$scenario" "$work/$scenario.img" --manifest "$work/$scenario.json" > /dev/null
  size=512
  [ "$scenario" = lost-4k-sectors ] && size=4096
  "$recover" find-volumes "$work/$scenario.img" --sector-size "$size" --json > "$work/$scenario.jsonl"
  check_rows "$work/$scenario.json" "$work/$scenario.jsonl" > "$work/$scenario.rows" \
    || { echo "$scenario: rows"; cat "$work/$scenario.jsonl"; exit 1; }
  while read -r row start sectorSize name; do
    # The independent reader finds an HFS+ volume where the row says (the damaged catalog aside).
    if [ "$scenario" != lost-damaged-catalog-header ] && [ "$scenario" != lost-alternate-header ] \
       && [ "$scenario" != lost-last-chunk ]; then
      info=$(fshfsinfo -o $((start * sectorSize)) "$work/$scenario.img")
      grep -q "Name.*: $name" <<< "$info" || { echo "$scenario: fshfsinfo sees no '$name' at $start"; exit 1; }
    fi
    # Without its catalog's header node the standard scan refuses the volume; the advanced one searches.
    treeScan=standard
    [ "$scenario" = lost-damaged-catalog-header ] && treeScan=advanced
    out="$work/out-$scenario-$row"
    "$recover" scan "$work/$scenario.img" --target lost --sector-size "$size" --volume "$row" --quiet \
      --tree-scan "$treeScan" --save "$out" --select all > /dev/null 2>&1 \
      || { echo "$scenario: scan of row $row failed"; exit 1; }
    check_saved "$work/$scenario.json" "$start" "$out" > /dev/null || { echo "$scenario: saved files"; exit 1; }
  done < "$work/$scenario.rows"
done

# The text form: each find live, then the list with its half-star rating.
"$recover" find-volumes "$work/lost-two-volumes.img" > "$work/text.txt"
grep -q '^Volume Found @ Sector: 2049  validity 100 Valid$' "$work/text.txt" || { echo "text row"; exit 1; }
grep -q '^\[0\] Journaled volume$' "$work/text.txt" || { echo "text list"; cat "$work/text.txt"; exit 1; }
grep -q 'Volume Validity: 100% (10 half stars, "5_")' "$work/text.txt" || { echo "rating"; exit 1; }
# A row past the list is refused with the count.
status=0
"$recover" scan "$work/lost-clone.img" --target lost --volume 9 --quiet > /dev/null 2> "$work/err.txt" || status=$?
[ "$status" -eq 1 ] && grep -q 'there is no row 9' "$work/err.txt" || { echo "missing row"; cat "$work/err.txt"; exit 1; }
# A session written after the scan of a volume found by its alternate header opens to the same tree.
"$recover" scan "$work/lost-alternate-header.img" --target lost --quiet --list --session-out "$work/lost.nvs" \
  2> /dev/null | grep -v '^Standard scan completed' > "$work/scanned.txt"
"$recover" open "$work/lost.nvs" --list 2> /dev/null | grep -v '^Recovery Session Opened' > "$work/opened.txt"
grep -q 'Minutes of the meeting.txt' "$work/scanned.txt" && cmp -s "$work/scanned.txt" "$work/opened.txt" \
  || { echo "session"; diff "$work/scanned.txt" "$work/opened.txt"; exit 1; }
# The plan names the lost-volume screens.
"$recover" plan --mode partitions --target lost --content Apple_HFS --signatures skip > "$work/plan.txt" 2>&1 || true
grep -q 'PT scan prog' "$work/plan.txt" && grep -q 'PT scan list' "$work/plan.txt" || { echo "plan"; cat "$work/plan.txt"; exit 1; }
echo "lost volumes: all checks passed"
