// The partition-map scenarios: MBR with an EBR chain, GPT, Apple partition maps and a hybrid map,
// each holding HFS+ volumes and, on 512-byte sectors, FAT volumes.
#include <cstdio>

#include "imagekit/partition_disk.h"
#include "imagekit/partition_map.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

constexpr std::uint64_t kFirstStartBytes = 1024 * 1024;

std::string hexType(std::uint8_t type) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02x", type);
  return text;
}

bool sectorSizeOption(const ScenarioOptions& options, std::uint32_t& sectorSize, std::string& error) {
  std::uint64_t value = 0;
  if (!optionUint(options, "sector-size", 512, value, error)) return false;
  if (value != 512 && value != 4096) {
    error = "--sector-size must be 512 or 4096";
    return false;
  }
  sectorSize = static_cast<std::uint32_t>(value);
  return true;
}

bool finish(ImageWriter& out, Manifest& manifest, std::uint32_t sectorSize, std::string& error) {
  manifest.sectorSize = sectorSize;
  manifest.imageBytes = out.totalBytes();
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  return true;
}

// MBR: primary HFS+ (0xAF), primary FAT32 (0x0C) and an extended partition (0x0F) whose chain holds
// three logical partitions behind EBRs linked by 0x05 and 0x85 entries. With `selfLoop` the second
// EBR's link points back at itself, so the third is unreachable.
bool makeMbrEbr(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error,
                bool selfLoop) {
  constexpr std::uint32_t kSector = 512;
  DiskVolume primaryHfs, primaryFat, logicalOne, logicalTwo, logicalThree;
  if (!prepareHfsVolume(primaryHfs, "Primary HFS", options.seed, kSector, false, error) ||
      !prepareFatVolume(primaryFat, FatKind::Fat32, options.seed, error) ||
      !prepareHfsVolume(logicalOne, "Logical one", options.seed + 1, kSector, false, error) ||
      !prepareFatVolume(logicalTwo, FatKind::Fat16, options.seed + 2, error) ||
      !prepareHfsVolume(logicalThree, "Logical three", options.seed + 3, kSector, false, error)) {
    return false;
  }
  const std::uint64_t gap = kFirstStartBytes / kSector;  // each logical volume sits this far behind its EBR
  const std::uint64_t hfsStart = gap;
  const std::uint64_t hfsCount = partitionSectors(primaryHfs.bytes, kSector);
  const std::uint64_t fatStart = hfsStart + hfsCount;
  const std::uint64_t fatCount = partitionSectors(primaryFat.bytes, kSector);
  const std::uint64_t extStart = fatStart + fatCount;
  DiskVolume* logicals[] = {&logicalOne, &logicalTwo, &logicalThree};
  const std::uint8_t logicalTypes[] = {0xAF, 0x0E, 0xAF};
  const std::uint8_t linkTypes[] = {0x05, 0x85};
  std::uint64_t ebr[3];
  std::uint64_t logicalCount[3];
  std::uint64_t at = extStart;
  for (int i = 0; i < 3; ++i) {
    ebr[i] = at;
    logicalCount[i] = partitionSectors(logicals[i]->bytes, kSector);
    at += gap + logicalCount[i];
  }
  const std::uint64_t extCount = at - extStart;
  const std::uint64_t totalSectors = at + gap;
  ImageWriter out(outPath, totalSectors * kSector);

  std::vector<std::byte> sector(kSector);
  putMbrRecord(sector, {{0xAF, static_cast<std::uint32_t>(hfsStart), static_cast<std::uint32_t>(hfsCount), true},
                        {0x0C, static_cast<std::uint32_t>(fatStart), static_cast<std::uint32_t>(fatCount), false},
                        {0x0F, static_cast<std::uint32_t>(extStart), static_cast<std::uint32_t>(extCount), false}});
  out.write(0, sector);
  nlohmann::json entries = nlohmann::json::array();
  entries.push_back(partitionJson(1, hexType(0xAF), "", hfsStart, hfsCount));
  entries.push_back(partitionJson(2, hexType(0x0C), "", fatStart, fatCount));
  entries.push_back(partitionJson(3, hexType(0x0F), "", extStart, extCount));
  entries.back()["extended"] = true;
  for (int i = 0; i < 3; ++i) {
    std::vector<MbrEntry> record = {{logicalTypes[i], static_cast<std::uint32_t>(gap), static_cast<std::uint32_t>(logicalCount[i]), false}};
    entries.push_back(partitionJson(static_cast<std::uint32_t>(5 + i), hexType(logicalTypes[i]), "", ebr[i] + gap, logicalCount[i]));
    entries.back()["tableSector"] = ebr[i];
    if (i < 2) {
      // Links count from the start of the extended partition; the loop points the second EBR at itself.
      const std::uint64_t next = selfLoop && i == 1 ? ebr[1] : ebr[i + 1];
      const std::uint64_t linkCount = selfLoop && i == 1 ? gap + logicalCount[1] : gap + logicalCount[i + 1];
      record.push_back({linkTypes[i], static_cast<std::uint32_t>(next - extStart), static_cast<std::uint32_t>(linkCount), false});
      nlohmann::json link = partitionJson(0, hexType(linkTypes[i]), "", next, linkCount);
      link["extended"] = true;
      link["tableSector"] = ebr[i];
      entries.push_back(link);
    }
    std::fill(sector.begin(), sector.end(), std::byte{0});
    putMbrRecord(sector, record);
    out.write(ebr[i] * kSector, sector);
  }
  DiskVolume* placed[] = {&primaryHfs, &primaryFat, &logicalOne, &logicalTwo, &logicalThree};
  const std::uint64_t starts[] = {hfsStart, fatStart, ebr[0] + gap, ebr[1] + gap, ebr[2] + gap};
  for (int i = 0; i < 5; ++i) {
    if (!placeVolume(*placed[i], out, starts[i], kSector, manifest, error)) return false;
  }
  if (selfLoop) {
    // The third logical volume is still on the disk, but no table leads to it any more.
    manifest.volumes.back().extra["unreachable"] = true;
    entries.erase(entries.end() - 1);
  }
  manifest.partitions = {{"scheme", "mbr"}, {"sectorSize", kSector}, {"entries", entries}};
  if (selfLoop) manifest.partitions["selfLoopTableSector"] = ebr[1];
  return finish(out, manifest, kSector, error);
}

// Four slots: HFS+, HFS+, an empty slot, then FAT32 (512-byte sectors) or a third HFS+ (4096).
bool makeGpt(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error,
             bool hybrid) {
  std::uint32_t sectorSize = 512;
  if (!sectorSizeOption(options, sectorSize, error)) return false;
  if (hybrid) sectorSize = 512;
  DiskVolume first, second, last;
  if (!prepareHfsVolume(first, "Macintosh HD", options.seed, sectorSize, false, error) ||
      !prepareHfsVolume(second, "Backup", options.seed + 1, sectorSize, true, error)) {
    return false;
  }
  const bool fatLast = sectorSize == 512;
  if (fatLast ? !prepareFatVolume(last, FatKind::Fat32, options.seed + 2, error)
              : !prepareHfsVolume(last, "After the gap", options.seed + 2, sectorSize, false, error)) {
    return false;
  }
  struct Slot {
    DiskVolume* volume;
    std::string type;
    std::u16string name;
    std::string nameUtf8;
  };
  const std::vector<Slot> slots = {
      {&first, kGptHfsPlusType, u"Macintosh HD", "Macintosh HD"},
      {&second, kGptHfsPlusType, u"Sauvegarde d\u00e9cembre", "Sauvegarde d\u00e9cembre"},
      {nullptr, "", u"", ""},
      {&last, fatLast ? kGptBasicDataType : kGptHfsPlusType, fatLast ? u"Shared FAT" : u"After the gap",
       fatLast ? "Shared FAT" : "After the gap"}};
  GptLayout layout;
  layout.sectorSize = sectorSize;
  layout.diskGuid = "6E756120-6B69-7400-0000-0000000000" + std::string(options.seed % 2 == 0 ? "01" : "02");
  layout.protectiveMbr = !hybrid;
  std::uint64_t at = kFirstStartBytes / sectorSize;
  std::vector<std::uint64_t> starts;
  nlohmann::json entries = nlohmann::json::array();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    GptEntry entry;
    starts.push_back(at);
    if (slots[i].volume != nullptr) {
      const std::uint64_t count = partitionSectors(slots[i].volume->bytes, sectorSize);
      entry.typeGuid = slots[i].type;
      entry.uniqueGuid = "6E756120-7061-7274-0000-00000000000" + std::to_string(i + 1);
      entry.firstLba = at;
      entry.lastLba = at + count - 1;
      entry.name = slots[i].name;
      entries.push_back(partitionJson(static_cast<std::uint32_t>(i + 1), slots[i].type, slots[i].nameUtf8, at, count));
      at += count;
    }
    layout.entries.push_back(entry);
  }
  layout.totalSectors = at + gptFirstUsableLba(sectorSize);
  ImageWriter out(outPath, layout.totalSectors * sectorSize);
  writeGpt(layout, out);
  nlohmann::json mbrEntries = nlohmann::json::array();
  if (hybrid) {
    // The hybrid record keeps 0xEE first, over the GPT structures only, then mirrors two partitions.
    const auto protect = static_cast<std::uint32_t>(starts[0] - 1);
    const auto hfsCount = static_cast<std::uint32_t>(layout.entries[0].lastLba + 1 - layout.entries[0].firstLba);
    const auto fatCount = static_cast<std::uint32_t>(layout.entries[3].lastLba + 1 - layout.entries[3].firstLba);
    std::vector<std::byte> mbr(sectorSize);
    putMbrRecord(mbr, {{0xEE, 1, protect, false},
                       {0xAF, static_cast<std::uint32_t>(starts[0]), hfsCount, false},
                       {0x0C, static_cast<std::uint32_t>(starts[3]), fatCount, true}});
    out.write(0, mbr);
    mbrEntries.push_back(partitionJson(1, hexType(0xEE), "", 1, protect));
    mbrEntries.push_back(partitionJson(2, hexType(0xAF), "", starts[0], hfsCount));
    mbrEntries.push_back(partitionJson(3, hexType(0x0C), "", starts[3], fatCount));
  }
  for (const Slot& slot : slots) {
    if (slot.volume == nullptr) continue;
    const std::size_t index = static_cast<std::size_t>(&slot - slots.data());
    if (!placeVolume(*slot.volume, out, starts[index], sectorSize, manifest, error)) return false;
  }
  manifest.partitions = {{"scheme", hybrid ? "hybrid" : "gpt"}, {"sectorSize", sectorSize}, {"entries", entries}};
  if (hybrid) manifest.partitions["mbrEntries"] = mbrEntries;
  if (optionFlag(options, "zero-primary-header")) {
    // Only the backup header in the last sector (and both arrays) still describe the partitions.
    out.write(sectorSize, std::vector<std::byte>(sectorSize, std::byte{0}));
    manifest.partitions["primaryHeader"] = "zeroed";
  }
  manifest.partitions["emptySlots"] = {3};
  return finish(out, manifest, sectorSize, error);
}

// Apple map: the map itself, Apple_HFS, Apple_Free, Apple_HFSX, Apple_Free. `mapBlockSize` is the
// map's block size; 2048 on a disk of 512-byte sectors mimics an install disc.
bool makeApm(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error,
             std::uint32_t mapBlockSize) {
  std::uint32_t sectorSize = 512;
  if (!sectorSizeOption(options, sectorSize, error)) return false;
  if (mapBlockSize == 0) mapBlockSize = sectorSize;
  if (mapBlockSize < sectorSize) {
    error = "map blocks of " + std::to_string(mapBlockSize) + " bytes need 512-byte sectors";
    return false;
  }
  DiskVolume hfs, hfsx;
  if (!prepareHfsVolume(hfs, "Macintosh HD", options.seed, sectorSize, false, error) ||
      !prepareHfsVolume(hfsx, "Case Sensitive", options.seed + 1, sectorSize, true, error)) {
    return false;
  }
  const std::uint32_t mapBlocks = 63;
  const auto blocksFor = [&](std::uint64_t bytes) {
    return static_cast<std::uint32_t>(partitionSectors(bytes, sectorSize) * sectorSize / mapBlockSize);
  };
  const std::uint32_t hfsStart = (kFirstStartBytes / mapBlockSize);
  const std::uint32_t hfsBlocks = blocksFor(hfs.bytes);
  const std::uint32_t freeStart = hfsStart + hfsBlocks;
  const std::uint32_t freeBlocks = static_cast<std::uint32_t>(kFirstStartBytes / mapBlockSize);
  const std::uint32_t hfsxStart = freeStart + freeBlocks;
  const std::uint32_t hfsxBlocks = blocksFor(hfsx.bytes);
  const std::uint32_t tailStart = hfsxStart + hfsxBlocks;
  const std::uint32_t tailBlocks = freeBlocks;
  ApmLayout layout;
  layout.blockSize = mapBlockSize;
  layout.totalBlocks = tailStart + tailBlocks;
  layout.entries = {{"Apple", "Apple_partition_map", 1, mapBlocks},
                    {"Macintosh HD", "Apple_HFS", hfsStart, hfsBlocks},
                    {"Extra", "Apple_Free", freeStart, freeBlocks},
                    {"Case Sensitive", "Apple_HFSX", hfsxStart, hfsxBlocks},
                    {"", "Apple_Free", tailStart, tailBlocks}};
  ImageWriter out(outPath, std::uint64_t{layout.totalBlocks} * mapBlockSize);
  writeApm(layout, out);
  const std::uint64_t perBlock = mapBlockSize / sectorSize;
  nlohmann::json entries = nlohmann::json::array();
  for (std::size_t i = 0; i < layout.entries.size(); ++i) {
    const ApmEntry& entry = layout.entries[i];
    entries.push_back(partitionJson(static_cast<std::uint32_t>(i + 1), entry.type, entry.name,
                                    entry.startBlock * perBlock, entry.blockCount * perBlock));
    entries.back()["startBlock"] = entry.startBlock;
    entries.back()["blockCount"] = entry.blockCount;
  }
  if (!placeVolume(hfs, out, hfsStart * perBlock, sectorSize, manifest, error) ||
      !placeVolume(hfsx, out, hfsxStart * perBlock, sectorSize, manifest, error)) {
    return false;
  }
  manifest.partitions = {{"scheme", "apm"}, {"sectorSize", sectorSize}, {"mapBlockSize", mapBlockSize},
                         {"entries", entries}};
  return finish(out, manifest, sectorSize, error);
}

}  // namespace

void registerPartitionScenarios() {
  registerScenario({"mbr-ebr", "MBR with HFS+ and FAT primaries and a three-level EBR chain",
                    [](const std::string& o, const ScenarioOptions& s, Manifest& m, std::string& e) {
                      return makeMbrEbr(o, s, m, e, false);
                    }});
  registerScenario({"mbr-ebr-self-loop", "MBR whose second EBR links back to itself",
                    [](const std::string& o, const ScenarioOptions& s, Manifest& m, std::string& e) {
                      return makeMbrEbr(o, s, m, e, true);
                    }});
  registerScenario({"gpt", "GPT with HFS+ volumes, an empty slot, then FAT32 (--sector-size 512|4096, "
                    "--zero-primary-header)",
                    [](const std::string& o, const ScenarioOptions& s, Manifest& m, std::string& e) {
                      return makeGpt(o, s, m, e, false);
                    }});
  registerScenario({"hybrid", "GPT with a hybrid MBR mirroring its HFS+ and FAT32 partitions",
                    [](const std::string& o, const ScenarioOptions& s, Manifest& m, std::string& e) {
                      return makeGpt(o, s, m, e, true);
                    }});
  registerScenario({"apm", "Apple partition map with Apple_HFS, Apple_HFSX and Apple_Free (--sector-size 512|4096)",
                    [](const std::string& o, const ScenarioOptions& s, Manifest& m, std::string& e) {
                      return makeApm(o, s, m, e, 0);
                    }});
  registerScenario({"apm-2048", "Apple partition map in 2048-byte blocks, as on install discs",
                    [](const std::string& o, const ScenarioOptions& s, Manifest& m, std::string& e) {
                      return makeApm(o, s, m, e, 2048);
                    }});
}

}  // namespace nua::imagekit
