#!/usr/bin/env python3
"""Prints the photo search benchmark's Markdown table from /usr/bin/time -v reports and saved folders.

    photo_search_count.py MANIFEST.json SIZE_MIB "TOOL=TIME_FILE=SAVED_DIR" ...

A saved file is recovered whole when its first lengthBytes hash to a planted file's sha256; a planted
file is counted once however many copies were saved. Only planted files that are neither decoys nor
in two pieces are counted. An empty SAVED_DIR leaves the count out.
"""
import collections, hashlib, json, os, re, sys

PREFIX = 512  # planted files are told apart by their first bytes before the whole length is hashed

manifest, size_mib = json.load(open(sys.argv[1])), int(sys.argv[2])
planted = [p for p in manifest["extra"]["planted"] if p["state"] not in ("decoy", "fragmented")]
planted_by_sha = collections.Counter(p["sha256"] for p in planted)
lengths_by_sha = {p["sha256"]: p["lengthBytes"] for p in planted}


def prefix_index(image_path):
    """sha256 of a planted file's first PREFIX bytes -> the planted shas starting so."""
    index = collections.defaultdict(set)
    with open(image_path, "rb") as image:
        for p in planted:
            image.seek(p["startSector"] * manifest["sectorSize"])
            index[hashlib.sha256(image.read(min(PREFIX, p["lengthBytes"]))).hexdigest()].add(p["sha256"])
    return index


def recovered_whole(saved_dir, index):
    found = collections.Counter()
    for folder, _, names in os.walk(saved_dir):
        for name in names:
            with open(os.path.join(folder, name), "rb") as f:
                data = f.read()
            for sha in index.get(hashlib.sha256(data[:PREFIX]).hexdigest(), ()):
                if len(data) >= lengths_by_sha[sha] and hashlib.sha256(data[:lengths_by_sha[sha]]).hexdigest() == sha:
                    found[sha] += 1
    return sum(min(found[sha], count) for sha, count in planted_by_sha.items())


def time_report(path):
    text = open(path).read()
    clock = re.search(r"Elapsed \(wall clock\) time.*: (?:(\d+):)?(\d+):([\d.]+)", text)
    seconds = int(clock.group(1) or 0) * 3600 + int(clock.group(2)) * 60 + float(clock.group(3))
    peak_kib = int(re.search(r"Maximum resident set size \(kbytes\): (\d+)", text).group(1))
    cpu = sum(float(re.search(rf"{kind} time \(seconds\): ([\d.]+)", text).group(1)) for kind in ("User", "System"))
    return seconds, cpu, peak_kib


index = prefix_index(os.path.splitext(sys.argv[1])[0])
print(f"Image: {size_mib} MiB, {len(planted)} planted files counted "
      f"({len(manifest['extra']['planted']) - len(planted)} decoys and fragmented files not counted)\n")
print("| tool | seconds | MB/s | CPU s | peak RSS MB | files recovered whole / planted |")
print("|---|---:|---:|---:|---:|---:|")
for arg in sys.argv[3:]:
    tool, time_file, saved = arg.split("=")
    seconds, cpu, peak_kib = time_report(time_file)
    mb_per_s = size_mib * 1048576 / 1e6 / seconds if seconds > 0 else float("inf")
    whole = f"{recovered_whole(saved, index)} / {len(planted)}" if saved else "-"
    print(f"| {tool} | {seconds:.2f} | {mb_per_s:.0f} | {cpu:.2f} | {peak_kib / 1024:.1f} | {whole} |")
