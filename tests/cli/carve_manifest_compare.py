#!/usr/bin/env python3
"""Compares the carved files of `nua-recover scan --json` with the manifest of a kit "carve-" image.

    carve_manifest_compare.py MANIFEST.json SCAN.jsonl [--free-space] [--volume-start N]

A carved file is one directly inside a folder of the root ("Root/jpg files/File1.jpg"); its first
sector on the image is the volume start plus blockBaseSector plus its first extent's start times
sectorsPerBlock. Every planted file but the decoys must be found at its first sector (with
--free-space only the deleted ones, and a find at a live file's sector is an error), and nothing may
be found where nothing was planted. Prints one line per difference; exits 1 when there is any.
"""
import argparse
import json
import sys


def carved_files(lines, volume_start):
    for line in lines:
        line = line.strip()
        if not line.startswith("{"):
            continue
        row = json.loads(line)
        if "path" not in row or row.get("folder", True) or not row.get("extents"):
            continue
        parts = row["path"].split("/")
        if len(parts) != 3:
            continue
        start = volume_start + row.get("blockBaseSector", 0) + row["extents"][0][0] * row.get("sectorsPerBlock", 1)
        yield {"folder": parts[1], "name": parts[2], "startSector": start, "size": row["size"]}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("manifest")
    parser.add_argument("scan")
    parser.add_argument("--free-space", action="store_true", help="a free-space search: deleted files only")
    parser.add_argument("--volume-start", type=int, help="default: the manifest's first volume, else 0")
    args = parser.parse_args()
    manifest = json.load(open(args.manifest))
    volume_start = args.volume_start
    if volume_start is None:
        volume_start = manifest["volumes"][0]["startSector"] if manifest.get("volumes") else 0
    planted = {p["startSector"]: p for p in manifest["extra"]["planted"]}
    found = {f["startSector"]: f for f in carved_files(open(args.scan), volume_start)}
    differences = []
    for sector, p in sorted(planted.items()):
        expected = p["state"] != "decoy" and (p["deleted"] or not args.free_space)
        if expected and sector not in found:
            differences.append("missing %s (%s) at sector %d" % (p["name"], p["state"], sector))
        if args.free_space and sector in found and not p["deleted"]:
            differences.append("found %s/%s in used space at sector %d" %
                               (found[sector]["folder"], found[sector]["name"], sector))
    for sector, f in sorted(found.items()):
        if sector not in planted:
            differences.append("found %s/%s at sector %d, where nothing was planted" % (f["folder"], f["name"], sector))
    for line in differences:
        print(line)
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
