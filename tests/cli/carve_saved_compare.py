#!/usr/bin/env python3
"""Checks the files `nua-recover scan --save` wrote for the carved finds of a kit "carve-" image.

    carve_saved_compare.py MANIFEST.json SCAN.jsonl SAVED_DIR

Every find at a planted file's first sector (decoys and fragmented files aside: a carved file is one
run of sectors) must be saved with the size the scan listed, and its first bytes, as many as the
planted file has, must hash to the planted file's sha256. Exits 1 on any difference or when nothing
was checked.
"""
import hashlib, json, os, sys
manifest, scan, saved = sys.argv[1:4]
planted = {p["startSector"]: p for p in json.load(open(manifest))["extra"]["planted"] if p["state"] not in ("decoy", "fragmented")}
bad = 0; checked = 0
for line in open(scan):
    row = json.loads(line)
    if "path" not in row or row.get("folder", True) or not row.get("extents"): continue
    start = row["blockBaseSector"] + row["extents"][0][0] * row["sectorsPerBlock"]
    p = planted.get(start)
    if p is None: continue
    data = open(os.path.join(saved, row["path"]), "rb").read()
    checked += 1
    if len(data) != row["size"] or hashlib.sha256(data[:p["lengthBytes"]]).hexdigest() != p["sha256"]:
        bad += 1; print("saved bytes differ:", row["path"], p["name"], len(data), row["size"], p["lengthBytes"])
print(checked, "checked", bad, "bad")
sys.exit(1 if bad or checked == 0 else 0)
