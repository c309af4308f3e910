// Disks whose partition map is gone while their HFS+ volumes are still there, for the lost-volume
// search. Each volume's manifest entry says, under extra "lostVolume", whether the search offers it,
// with which validity word and figure, which name, and by which header ("whetherAlternateSector").
#include <algorithm>

#include "imagekit/partition_disk.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

constexpr std::uint64_t kChunkSectors = 63;  // the search reads this many sectors at once

struct Placed {
  DiskVolume volume;
  std::uint64_t startSector = 0;
  bool wrapped = false;
  nlohmann::json expected;  // the "lostVolume" object of the manifest
};

nlohmann::json offered(const std::string& name, std::uint32_t validity, std::uint64_t alternateSector = 0) {
  return {{"found", true}, {"validityWord", "Valid"}, {"validity", validity}, {"volumeName", name},
          {"whetherAlternateSector", alternateSector}};
}

std::uint64_t volumeSectors(const Placed& p, std::uint32_t sectorSize) {
  return (p.volume.bytes + sectorSize - 1) / sectorSize;
}

// Writes every volume at its start into an image of `totalSectors`, with the first MiB (where a map
// would be) left zero, and records each with its expectation.
bool writeDisk(const std::string& outPath, std::vector<Placed>& placed, std::uint64_t totalSectors,
               std::uint32_t sectorSize, Manifest& manifest, std::string& error,
               const std::function<void(ImageWriter&, const ManifestVolume&, std::size_t)>& damage = {}) {
  ImageWriter out(outPath, totalSectors * sectorSize);
  for (std::size_t i = 0; i < placed.size(); ++i) {
    Placed& p = placed[i];
    ManifestVolume described;
    if (p.wrapped) {
      if (!buildHfsWrappedVolume(p.volume.hfs, out, p.startSector * sectorSize, described, error)) return false;
    } else {
      if (!buildHfsVolume(p.volume.hfs, out, p.startSector * sectorSize, described, error)) return false;
      described.startSector = p.startSector;
    }
    described.sectorSize = sectorSize;
    if (damage) damage(out, described, i);
    described.extra["lostVolume"] = p.expected;
    manifest.volumes.push_back(std::move(described));
  }
  manifest.sectorSize = sectorSize;
  manifest.imageBytes = out.totalBytes();
  manifest.partitions = {{"scheme", "none"}, {"sectorSize", sectorSize}, {"entries", nlohmann::json::array()}};
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  return true;
}

void zeroBytes(ImageWriter& out, std::uint64_t byteOffset, std::size_t length) {
  const std::vector<std::byte> zeros(length, std::byte{0});
  out.write(byteOffset, zeros);
}

// Two volumes at odd sectors behind a zeroed map: a journaled one whose catalog has several leaves in
// several extents, and one inside an HFS wrapper.
bool makeTwoVolumes(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  std::vector<Placed> placed(2);
  if (!prepareHfsVolume(placed[0].volume, "Journaled volume", options.seed, 512, false, error)) return false;
  placed[0].volume.hfs.journaled = true;
  // Leaves of two records over a catalog in four pieces: the leaf chain crosses extents.
  placed[0].volume.hfs.catalogRecordsPerLeaf = 2;
  placed[0].volume.hfs.catalogExtentCount = 4;
  if (!sizeHfsVolume(placed[0].volume, error)) return false;
  if (!prepareHfsVolume(placed[1].volume, "Wrapped volume", options.seed + 1, 512, false, error)) return false;
  placed[1].wrapped = true;
  placed[1].volume.bytes = hfsWrappedVolumeBytes(placed[1].volume.hfs, error);
  if (placed[1].volume.bytes == 0) return false;
  placed[0].startSector = 2049;
  placed[1].startSector = placed[0].startSector + volumeSectors(placed[0], 512) + 1001;
  const std::uint64_t total = placed[1].startSector + volumeSectors(placed[1], 512) + 3001;
  placed[0].expected = offered("Journaled volume", 100);
  placed[1].expected = offered("Wrapped volume", 100);
  return writeDisk(outPath, placed, total, 512, manifest, error);
}

// The primary header is zeroed; the alternate 1024 bytes before the volume's end finds it. The disk
// ends shortly after the volume, so the alternate's sector isn't also taken for a primary header.
bool makeAlternateOnly(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                       std::string& error) {
  std::vector<Placed> placed(1);
  if (!prepareHfsVolume(placed[0].volume, "Alternate header", options.seed, 512, false, error)) return false;
  placed[0].startSector = 3001;
  const std::uint64_t length = volumeSectors(placed[0], 512);
  const std::uint64_t alternate = placed[0].startSector + length - 2;
  placed[0].expected = offered("Alternate header", 100, alternate);
  return writeDisk(outPath, placed, placed[0].startSector + length + 7, 512, manifest, error,
                   [](ImageWriter& out, const ManifestVolume& v, std::size_t) {
                     zeroBytes(out, v.startSector * 512 + 1024, 512);
                   });
}

// A clone: the same volume written twice, so both carry one creation date; the second isn't offered.
bool makeClone(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  std::vector<Placed> placed(2);
  for (Placed& p : placed)
    if (!prepareHfsVolume(p.volume, "Cloned volume", options.seed, 512, false, error)) return false;
  placed[0].startSector = 2047;
  placed[1].startSector = placed[0].startSector + volumeSectors(placed[0], 512) + 555;
  placed[0].expected = offered("Cloned volume", 100);
  placed[1].expected = {{"found", false}, {"reason", "same creation date as the first volume"}};
  return writeDisk(outPath, placed, placed[1].startSector + volumeSectors(placed[1], 512) + 999, 512, manifest, error);
}

// The catalog's header node is zeroed: the volume is judged by its leaf nodes, counted as if every
// node were 16 sectors long (which they are here), and named "Untitled".
bool makeDamagedCatalogHeader(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                              std::string& error) {
  std::vector<Placed> placed(1);
  if (!prepareHfsVolume(placed[0].volume, "Damaged catalog", options.seed, 512, false, error)) return false;
  placed[0].volume.hfs.catalogNodeSize = 8192;
  if (!sizeHfsVolume(placed[0].volume, error)) return false;
  placed[0].startSector = 4099;
  return writeDisk(outPath, placed, placed[0].startSector + volumeSectors(placed[0], 512) + 2000, 512, manifest, error,
                   [&](ImageWriter& out, const ManifestVolume& v, std::size_t) {
                     const nlohmann::json& catalog = v.extra.at("catalogFile");
                     const std::uint64_t firstBlock = catalog.at("extents").at(0).at(0).get<std::uint64_t>();
                     zeroBytes(out, v.startSector * 512 + firstBlock * v.blockSize, 8192);
                     // A one-level catalog holds one leaf node; the figure is that leaf among all nodes.
                     const auto nodes = catalog.at("totalNodes").get<std::uint64_t>();
                     const std::uint64_t leaves = catalog.at("depth").get<std::uint64_t>() == 1 ? 1 : 0;
                     placed[0].expected = offered("Untitled", static_cast<std::uint32_t>(leaves * 100 / nodes));
                   });
}

// The volume's only header left lies in the disk's last, partial chunk of 63 sectors: its primary
// header is zeroed and its alternate sits three sectors before the disk's end.
bool makeLastChunk(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  std::vector<Placed> placed(1);
  if (!prepareHfsVolume(placed[0].volume, "Last chunk", options.seed, 512, false, error)) return false;
  const std::uint64_t length = volumeSectors(placed[0], 512);
  // The disk ends one sector after the volume, five sectors into its last chunk.
  std::uint64_t start = 2001;
  while ((start + length + 1) % kChunkSectors != 5) ++start;
  placed[0].startSector = start;
  placed[0].expected = offered("Last chunk", 100, start + length - 2);
  return writeDisk(outPath, placed, start + length + 1, 512, manifest, error,
                   [](ImageWriter& out, const ManifestVolume& v, std::size_t) {
                     zeroBytes(out, v.startSector * 512 + 1024, 512);
                   });
}

// 4096-byte sectors: the header lies 1024 bytes into the volume's first sector. Blocks are 8 KiB, two
// sectors, as a header needs to be taken for one.
bool makeLargeSectors(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                      std::string& error) {
  std::vector<Placed> placed(1);
  if (!prepareHfsVolume(placed[0].volume, "Large sectors", options.seed, 4096, false, error)) return false;
  placed[0].volume.hfs.blockSize = 8192;
  placed[0].volume.hfs.catalogNodeSize = 8192;
  if (!sizeHfsVolume(placed[0].volume, error)) return false;
  placed[0].startSector = 301;
  placed[0].expected = offered("Large sectors", 100);
  return writeDisk(outPath, placed, placed[0].startSector + volumeSectors(placed[0], 4096) + 77, 4096, manifest,
                   error);
}

void add(const std::string& name, const std::string& description,
         bool (*make)(const std::string&, const ScenarioOptions&, Manifest&, std::string&)) {
  registerScenario({name, description, make});
}

}  // namespace

void registerLostVolumeScenarios() {
  add("lost-two-volumes", "zeroed partition map over a journaled HFS+ volume and a wrapped one at odd sectors",
      makeTwoVolumes);
  add("lost-alternate-header", "lost HFS+ volume whose primary header is zeroed, found by its alternate",
      makeAlternateOnly);
  add("lost-clone", "two copies of one HFS+ volume with the same creation date", makeClone);
  add("lost-damaged-catalog-header", "lost HFS+ volume whose catalog header node is zeroed",
      makeDamagedCatalogHeader);
  add("lost-last-chunk", "lost HFS+ volume whose only header lies in the disk's last partial chunk", makeLastChunk);
  add("lost-4k-sectors", "lost HFS+ volume on a disk of 4096-byte sectors", makeLargeSectors);
}

}  // namespace nua::imagekit
