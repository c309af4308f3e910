// Images for the signature search: files of many formats on a bare disk with no file system, on a
// FAT32 volume and on an HFS+ volume, live and deleted, some inside a tar archive, a few fragmented,
// and decoys (a header followed by garbage). The manifest's extra "planted" lists every one of them
// with its format, first sector on the image, length, hash and state.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "imagekit/carve_samples.h"
#include "imagekit/carve_sized_disk.h"
#include "imagekit/fat_builder.h"
#include "imagekit/partition_disk.h"
#include "imagekit/partition_map.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

constexpr std::uint32_t kSectorSize = 512;
constexpr std::size_t kDecoyBytes = 6000;
// Bytes of a planted file compared at each sector start to find where it landed.
constexpr std::size_t kLocateBytes = 1024;

// A file to plant and what the manifest says about it.
struct Planting {
  CarveSample file;
  std::string state;                   // "live", "deleted", "embedded", "fragmented", "decoy"
  std::vector<std::byte> firstPiece;   // what starts at its first sector; the whole file unless fragmented
  bool deleted = false;                // its blocks are free space on the volume
};

// The three pieces every scenario plants: the samples, two files inside a tar, and a JPEG in two
// pieces. The tar itself is returned apart, since it is not a format the search looks for.
struct CarveSet {
  std::vector<Planting> plantings;
  std::vector<CarveSample> tarMembers;
  std::vector<std::byte> tar;
  CarveSample fragmented;
  std::size_t firstPieceBytes = 0;
  std::vector<CarveSample> decoys;
};

// `withDeletions`: every second sample is to be deleted (on a bare disk nothing is).
bool makeCarveSet(std::uint64_t seed, bool withDeletions, CarveSet& set, Manifest& manifest, std::string& error) {
  std::vector<CarveSample> samples;
  std::vector<std::string> missing;
  if (!makeCarveSamples(seed, samples, missing, error)) return false;
  manifest.extra["formatsWithoutTool"] = missing;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const bool deleted = withDeletions && i % 2 == 1;
    set.plantings.push_back({samples[i], deleted ? "deleted" : "live", samples[i].bytes, deleted});
  }
  set.tarMembers = {{"jpg", "inside.jpg", carveJpeg(seed * 31 + 11, 9000)},
                    {"jpg", "also inside.jpg", carveJpeg(seed * 31 + 12, 7000)}};
  set.tar = makeTarArchive(set.tarMembers);
  for (const CarveSample& member : set.tarMembers) set.plantings.push_back({member, "embedded", member.bytes});
  set.fragmented = {"jpg", "in two pieces.jpg", carveJpeg(seed * 31 + 13, 30000)};
  set.firstPieceBytes = set.fragmented.bytes.size() / 2 / kSectorSize * kSectorSize;
  set.plantings.push_back({set.fragmented, "fragmented",
                           {set.fragmented.bytes.begin(),
                            set.fragmented.bytes.begin() + static_cast<std::ptrdiff_t>(set.firstPieceBytes)}});
  set.decoys = makeCarveDecoys(seed, kDecoyBytes);
  // Decoys are deleted files where there is a file system, so the free-space searches meet them.
  for (const CarveSample& decoy : set.decoys) set.plantings.push_back({decoy, "decoy", decoy.bytes, withDeletions});
  return true;
}

std::vector<std::byte> readImage(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(chars.size());
  for (std::size_t i = 0; i < chars.size(); ++i) bytes[i] = static_cast<std::byte>(chars[i]);
  return bytes;
}

// Finds where each planted file starts on the written image, and lists it in the manifest. Each must
// start at exactly one sector; `volumeIndex` is the manifest volume holding them, or -1.
bool describePlantings(const std::string& outPath, const std::vector<Planting>& plantings, int volumeIndex,
                       Manifest& manifest, std::string& error) {
  const std::vector<std::byte> image = readImage(outPath);
  nlohmann::json planted = nlohmann::json::array();
  for (const Planting& p : plantings) {
    const std::size_t length = std::min(p.firstPiece.size(), kLocateBytes);
    std::vector<std::uint64_t> at;
    for (std::size_t offset = 0; offset + length <= image.size(); offset += kSectorSize) {
      if (std::equal(p.firstPiece.begin(), p.firstPiece.begin() + static_cast<std::ptrdiff_t>(length),
                     image.begin() + static_cast<std::ptrdiff_t>(offset))) {
        at.push_back(offset / kSectorSize);
      }
    }
    if (at.size() != 1) {
      error = "planted file \"" + p.file.name + "\" starts at " + std::to_string(at.size()) + " sectors of the image";
      return false;
    }
    planted.push_back({{"name", p.file.name},
                       {"format", p.file.format},
                       {"state", p.state},
                       {"startSector", at.front()},
                       {"lengthBytes", p.file.bytes.size()},
                       {"sha256", sha256Hex(p.file.bytes)},
                       {"deleted", p.deleted},
                       {"volume", volumeIndex}});
  }
  manifest.extra["planted"] = std::move(planted);
  manifest.sectorSize = kSectorSize;
  manifest.imageBytes = image.size();
  return true;
}

// The bare disk: every file at a sector of its own with text-like filler between, no file system.
// With `--size-mib N` it is instead the benchmark disk of that size (see carve_sized_disk.h).
bool makeCarveDisk(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  if (options.values.contains("size-mib")) {
    std::uint64_t sizeMiB = 0;
    if (!optionUint(options, "size-mib", 0, sizeMiB, error)) return false;
    return makeSizedCarveDisk(outPath, sizeMiB, options, manifest, error);
  }
  CarveSet set;
  if (!makeCarveSet(options.seed, false, set, manifest, error)) return false;
  std::vector<std::byte> disk = carveFiller(options.seed, 64 * kSectorSize);
  const auto pad = [&](std::size_t sectors) {
    const std::vector<std::byte> gap = carveFiller(options.seed + disk.size(), sectors * kSectorSize);
    disk.resize((disk.size() + kSectorSize - 1) / kSectorSize * kSectorSize);
    disk.insert(disk.end(), gap.begin(), gap.end());
  };
  for (const Planting& p : set.plantings) {
    if (p.state == "embedded") continue;
    if (p.state == "fragmented") {
      disk.insert(disk.end(), p.firstPiece.begin(), p.firstPiece.end());
      pad(24);
      disk.insert(disk.end(), set.fragmented.bytes.begin() + static_cast<std::ptrdiff_t>(set.firstPieceBytes),
                  set.fragmented.bytes.end());
    } else {
      disk.insert(disk.end(), p.file.bytes.begin(), p.file.bytes.end());
    }
    pad(3 + disk.size() / kSectorSize % 7);
  }
  disk.insert(disk.end(), set.tar.begin(), set.tar.end());
  pad(128);
  ImageWriter out(outPath, disk.size());
  out.write(0, disk);
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  return describePlantings(outPath, set.plantings, -1, manifest, error);
}

// FAT32 from mkfs.fat and mtools. Deletions come last, since mtools hands freed clusters straight
// back to the next file; the fragmented JPEG takes a freed gap first and goes on behind a wall.
bool makeCarveFat(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  CarveSet set;
  if (!makeCarveSet(options.seed, true, set, manifest, error)) return false;
  FatVolumePlan plan;
  plan.kind = FatKind::Fat32;
  plan.sizeKiB = 34816;
  plan.sectorsPerCluster = 1;
  plan.label = "NUA CARVE";
  plan.seed = options.seed;
  const auto write = [&](const std::string& path, std::vector<std::byte> bytes) {
    plan.operations.push_back({FatOperation::Kind::WriteFile, path, std::move(bytes)});
  };
  const auto remove = [&](const std::string& path) { plan.operations.push_back({FatOperation::Kind::Delete, path, {}}); };
  plan.operations.push_back({FatOperation::Kind::MakeFolder, "/Media", {}});
  write("/Media/gap.txt", carveFiller(options.seed + 1, 4 * kSectorSize));
  write("/Media/wall.txt", carveFiller(options.seed + 2, 4 * kSectorSize));
  remove("/Media/gap.txt");
  write("/Media/" + set.fragmented.name, set.fragmented.bytes);
  write("/Media/bundle.tar", set.tar);
  std::vector<std::string> toDelete;
  for (std::size_t i = 0; i < set.plantings.size(); ++i) {
    const Planting& p = set.plantings[i];
    if (p.state == "embedded" || p.state == "fragmented") continue;
    write("/Media/" + p.file.name, p.file.bytes);
    if (p.deleted) toDelete.push_back("/Media/" + p.file.name);
  }
  for (const std::string& path : toDelete) remove(path);
  FatBuild build;
  if (!buildFatVolume(plan, build, error)) return false;
  // The gap holds four clusters; the first piece is what lies there.
  for (Planting& p : set.plantings) {
    if (p.state == "fragmented") p.firstPiece.resize(std::min<std::size_t>(p.firstPiece.size(), 4 * kSectorSize));
  }
  ImageWriter out(outPath, build.volume.size());
  writeFatVolume(build, out, 0);
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  manifest.volumes.push_back(build.manifest);
  return describePlantings(outPath, set.plantings, 0, manifest, error);
}

// HFS+ in a GPT partition at sector 64, 4 KiB blocks; deleted files keep their blocks
// in free space, and two JPEGs are written in two extents each, one live and one deleted. With
// `--size-mib N` the volume is N MiB (its content stays at the start, the rest is free and sparse).
bool makeCarveHfs(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  constexpr std::uint64_t kVolumeStart = 64;
  std::uint64_t sizeMiB = 0;
  if (!optionUint(options, "size-mib", 0, sizeMiB, error)) return false;
  if (sizeMiB > 1024 * 1024) {
    error = "size-mib must be at most 1048576";
    return false;
  }
  CarveSet set;
  if (!makeCarveSet(options.seed, true, set, manifest, error)) return false;
  DiskVolume volume;
  volume.hfs.volumeName = "Carve";
  volume.hfs.journaled = true;
  volume.hfs.deletedRecordsIn = HfsDeletedPlacement::kJournal;
  volume.hfs.sectorSize = kSectorSize;
  volume.hfs.seed = options.seed;
  volume.hfs.totalBlocks = sizeMiB * 1024 * 1024 / volume.hfs.blockSize;
  const auto add = [&](const std::string& path, std::vector<std::byte> bytes, bool deleted, std::uint32_t fragments) {
    HfsFileSpec file;
    file.path = path;
    file.content = std::move(bytes);
    file.deleted = deleted;
    file.fragments = fragments;
    volume.hfs.files.push_back(std::move(file));
  };
  add("/Archive/bundle.tar", set.tar, false, 1);
  for (Planting& p : set.plantings) {
    if (p.state == "embedded") continue;
    if (p.state == "fragmented") {
      add("/Media/" + p.file.name, p.file.bytes, false, 2);
      p.firstPiece.resize(std::min<std::size_t>(p.firstPiece.size(), kLocateBytes));
      continue;
    }
    add("/Media/" + p.file.name, p.file.bytes, p.deleted, 1);
  }
  const CarveSample deletedPieces{"jpg", "deleted in two pieces.jpg", carveJpeg(options.seed * 31 + 14, 30000)};
  add("/Media/" + deletedPieces.name, deletedPieces.bytes, true, 2);
  set.plantings.push_back({deletedPieces, "fragmented",
                           {deletedPieces.bytes.begin(), deletedPieces.bytes.begin() + kLocateBytes},
                           true});
  if (!sizeHfsVolume(volume, error)) return false;
  const std::uint64_t volumeSectors = (volume.bytes + kSectorSize - 1) / kSectorSize;
  GptLayout layout;
  layout.sectorSize = kSectorSize;
  layout.diskGuid = "6E756120-6361-7276-0000-000000000001";
  layout.entries = {{kGptHfsPlusType, "6E756120-6361-7276-0000-0000000000A1", kVolumeStart,
                     kVolumeStart + volumeSectors - 1, u"Carve"}};
  layout.totalSectors = kVolumeStart + volumeSectors + gptFirstUsableLba(kSectorSize);
  ImageWriter out(outPath, layout.totalSectors * kSectorSize);
  writeGpt(layout, out);
  if (!placeVolume(volume, out, kVolumeStart, kSectorSize, manifest, error)) return false;
  manifest.partitions = {{"scheme", "gpt"},
                         {"sectorSize", kSectorSize},
                         {"entries", {partitionJson(1, kGptHfsPlusType, "Carve", kVolumeStart, volumeSectors)}}};
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  return describePlantings(outPath, set.plantings, 0, manifest, error);
}

}  // namespace

void registerCarveScenarios() {
  registerScenario({"carve-disk",
                    "bare disk with files of many formats at known sectors, two inside a tar, one in two pieces, "
                    "and decoys",
                    makeCarveDisk});
  registerScenario({"carve-fat32",
                    "FAT32 volume with live and deleted files of many formats, a tar holding two, a fragmented "
                    "JPEG, and deleted decoys",
                    makeCarveFat});
  registerScenario({"carve-hfs",
                    "GPT disk with an HFS+ volume at sector 64 holding live and deleted files of many formats, "
                    "a tar holding two, fragmented JPEGs live and deleted, and deleted decoys",
                    makeCarveHfs});
}

}  // namespace nua::imagekit
