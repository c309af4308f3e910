// The FAT scenarios: healthy FAT12/16/32 volumes and volumes with one kind of damage each.
#include "imagekit/fat_scenarios.h"

#include <algorithm>

#include "imagekit/fat_directory.h"
#include "imagekit/image_file.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

FatOperation folder(std::string path) { return {FatOperation::Kind::MakeFolder, std::move(path), {}}; }
FatOperation file(std::string path, std::vector<std::byte> content) {
  return {FatOperation::Kind::WriteFile, std::move(path), std::move(content)};
}
FatOperation remove(std::string path) { return {FatOperation::Kind::Delete, std::move(path), {}}; }
FatOperation removeTree(std::string path) { return {FatOperation::Kind::DeleteTree, std::move(path), {}}; }

bool fatKindOption(const ScenarioOptions& options, FatKind fallback, FatKind& kind, std::string& error) {
  const std::uint64_t fallbackBits = fallback == FatKind::Fat12 ? 12 : (fallback == FatKind::Fat16 ? 16 : 32);
  std::uint64_t bits = 0;
  if (!optionUint(options, "fat", fallbackBits, bits, error)) return false;
  if (bits != 12 && bits != 16 && bits != 32) {
    error = "--fat must be 12, 16 or 32";
    return false;
  }
  kind = bits == 12 ? FatKind::Fat12 : (bits == 16 ? FatKind::Fat16 : FatKind::Fat32);
  return true;
}

// Writes the volume as the whole image and moves its description into the manifest.
bool finishImage(FatBuild& build, const std::string& outPath, Manifest& manifest, std::string& error) {
  ImageWriter out(outPath, build.volume.size());
  writeFatVolume(build, out, 0);
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  manifest.sectorSize = build.geometry.bytesPerSector;
  manifest.imageBytes = build.volume.size();
  manifest.volumes.push_back(build.manifest);
  return true;
}

const ManifestEntry* findEntry(const FatBuild& build, const std::string& path) {
  for (const ManifestEntry& entry : build.manifest.entries) {
    if (entry.path == path && !entry.deleted) return &entry;
  }
  return nullptr;
}

bool buildBasic(FatKind kind, const ScenarioOptions& options, FatBuild& build, std::string& error) {
  FatVolumePlan plan = fatBasicGeometry(kind, options.seed);
  plan.operations = fatBasicOperations(options.seed, plan.sectorsPerCluster * plan.sectorSize);
  return buildFatVolume(plan, build, error);
}

void registerBasic(const std::string& name, FatKind kind) {
  registerScenario({name, std::string(fatKindName(kind)) + " volume with live, deleted and fragmented entries",
                    [kind](const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                           std::string& error) {
                      FatBuild build;
                      return buildBasic(kind, options, build, error) && finishImage(build, outPath, manifest, error);
                    }});
}

// A damaged scenario builds the basic volume of the chosen variant, then `damage` patches the bytes.
using Damage = std::function<bool(FatBuild&, const ScenarioOptions&, std::string&)>;

void registerDamaged(const std::string& name, const std::string& description, FatKind fallback, Damage damage) {
  registerScenario({name, description,
                    [fallback, damage](const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                                       std::string& error) {
                      FatKind kind = fallback;
                      FatBuild build;
                      return fatKindOption(options, fallback, kind, error) && buildBasic(kind, options, build, error) &&
                             damage(build, options, error) && finishImage(build, outPath, manifest, error);
                    }});
}

// The second table loses one file's chain and gets a stray link elsewhere, so the copies disagree.
// With --bad-first-media the first table's first byte no longer matches the media descriptor either,
// so a reader checking it has to fall back to the second table.
bool damageSecondFat(FatBuild& build, const ScenarioOptions& options, std::string& error) {
  const ManifestEntry* cleared = findEntry(build, "Documents/Quarterly report 2014.txt");
  if (cleared == nullptr) {
    error = "second-table damage: report file missing";
    return false;
  }
  nlohmann::json changed = nlohmann::json::array();
  for (const auto& [start, count] : cleared->extents) {
    for (std::uint64_t i = 0; i < count; ++i) {
      const auto cluster = static_cast<std::uint32_t>(start + i);
      setFatEntry(build.volume, build.geometry, cluster, 0, 1);
      changed.push_back({{"cluster", cluster}, {"first", fatEntry(build.volume, build.geometry, cluster, 0)}, {"second", 0}});
    }
  }
  const std::uint32_t stray = build.geometry.clusterCount;  // the last cluster, free on these small volumes
  setFatEntry(build.volume, build.geometry, stray, 2, 1);
  changed.push_back({{"cluster", stray}, {"first", fatEntry(build.volume, build.geometry, stray, 0)}, {"second", 2}});
  build.manifest.extra["damage"] = {{"kind", "second table differs"}, {"entries", changed}};
  if (optionFlag(options, "bad-first-media")) {
    const std::uint8_t media = u8(build.volume, 21);
    put8(build.volume, static_cast<std::size_t>(build.geometry.fatByteOffset), static_cast<std::uint8_t>(media ^ 0x01U));
    build.manifest.extra["damage"]["firstTableMediaByte"] = media ^ 0x01U;
  }
  return true;
}

bool damageZeroSectorsPerCluster(FatBuild& build, const ScenarioOptions&, std::string&) {
  put8(build.volume, 13, 0);
  build.manifest.extra["damage"] = {{"kind", "sectors per cluster is 0"}, {"byteOffset", 13}};
  return true;
}

// A folder three levels down gains an entry that points at its grandparent's first cluster.
bool damageDirectoryLoop(FatBuild& build, const ScenarioOptions&, std::string& error) {
  const ManifestEntry* top = findEntry(build, "Nested");
  const ManifestEntry* bottom = findEntry(build, "Nested/Level two/Level three");
  if (top == nullptr || bottom == nullptr || bottom->extents.empty()) {
    error = "loop damage: nested folders missing";
    return false;
  }
  const std::uint64_t folderStart = build.geometry.clusterByteOffset(static_cast<std::uint32_t>(bottom->id));
  std::uint64_t slot = 0;
  for (std::uint64_t at = folderStart; at + kFatDirEntrySize <= folderStart + build.geometry.clusterBytes(); at += kFatDirEntrySize) {
    if (u8(build.volume, at) == 0x00) {
      slot = at;
      break;
    }
  }
  if (slot == 0) {
    error = "loop damage: no free slot in the innermost folder";
    return false;
  }
  const std::span<std::byte> entry(build.volume.data() + slot, kFatDirEntrySize);
  std::fill(entry.begin(), entry.end(), std::byte{0});
  const char shortName[] = "BACKUP     ";
  for (std::size_t i = 0; i < 11; ++i) put8(entry, i, static_cast<std::uint8_t>(shortName[i]));
  put8(entry, 11, kFatAttrDirectory);
  const auto target = static_cast<std::uint32_t>(top->id);
  putLe16(entry, 20, static_cast<std::uint16_t>(target / 0x10000U));
  putLe16(entry, 26, static_cast<std::uint16_t>(target % 0x10000U));
  putLe32(entry, 14, le32(build.volume, folderStart + 14));  // the stamps of the folder's own "."
  putLe32(entry, 22, le32(build.volume, folderStart + 22));
  ManifestEntry loop;
  loop.path = "Nested/Level two/Level three/BACKUP";
  loop.name = "BACKUP";
  loop.id = target;
  loop.folder = true;
  loop.foundIn = "directory";
  loop.extents = top->extents;
  loop.createDate = std::uint32_t{le16(entry, 16)} * 0x10000U + le16(entry, 14);
  loop.modDate = std::uint32_t{le16(entry, 24)} * 0x10000U + le16(entry, 22);
  loop.parentId = bottom->id;
  build.manifest.entries.push_back(loop);
  build.manifest.extra["damage"] = {{"kind", "folder leads back to an ancestor"}, {"path", loop.path},
                                    {"slotByteOffset", slot}, {"targetCluster", target}};
  return true;
}

// The last cluster of a five-cluster file links back to its second cluster, in both tables.
bool damageChainLoop(FatBuild& build, const ScenarioOptions&, std::string& error) {
  const ManifestEntry* victim = findEntry(build, "Fragments/first part.bin");
  if (victim == nullptr || victim->extents.size() != 1 || victim->extents.front().second < 3) {
    error = "chain damage: contiguous victim file missing";
    return false;
  }
  const auto first = static_cast<std::uint32_t>(victim->extents.front().first);
  const auto last = static_cast<std::uint32_t>(first + victim->extents.front().second - 1);
  for (std::uint32_t table = 0; table < build.geometry.numberOfFats; ++table) setFatEntry(build.volume, build.geometry, last, first + 1, table);
  build.manifest.extra["damage"] = {{"kind", "cluster chain loops"}, {"path", victim->path},
                                    {"fromCluster", last}, {"toCluster", first + 1}};
  return true;
}

// The boot sector claims four times the sectors the image holds.
bool damageOversizedBoot(FatBuild& build, const ScenarioOptions&, std::string&) {
  const std::uint32_t actual = build.geometry.totalSectors;
  const std::uint32_t claimed = actual * 4;
  if (le16(build.volume, 19) != 0 && claimed <= 0xFFFF) {
    putLe16(build.volume, 19, static_cast<std::uint16_t>(claimed));
  } else {
    putLe16(build.volume, 19, 0);
    putLe32(build.volume, 32, claimed);
  }
  build.manifest.extra["damage"] = {{"kind", "boot sector claims more sectors than the image"},
                                    {"imageSectors", actual}, {"claimedSectors", claimed}};
  return true;
}

// Both total-sector fields cleared, as a damaged or half-written boot sector has them.
bool damageZeroTotalSectors(FatBuild& build, const ScenarioOptions&, std::string&) {
  putLe16(build.volume, 19, 0);
  putLe32(build.volume, 32, 0);
  build.manifest.extra["damage"] = {{"kind", "total-sector fields are 0"},
                                    {"imageSectors", build.geometry.totalSectors}};
  return true;
}

}  // namespace

FatVolumePlan fatBasicGeometry(FatKind kind, std::uint64_t seed) {
  FatVolumePlan plan;
  plan.kind = kind;
  plan.seed = seed;
  plan.volumeId = 0x4E550000U + static_cast<std::uint32_t>(seed % 0x10000U);
  switch (kind) {
    case FatKind::Fat12: plan.sizeKiB = 2048; plan.sectorsPerCluster = 1; plan.label = "NUA FAT12"; break;
    case FatKind::Fat16: plan.sizeKiB = 8192; plan.sectorsPerCluster = 2; plan.label = "NUA FAT16"; break;
    case FatKind::Fat32: plan.sizeKiB = 40960; plan.sectorsPerCluster = 1; plan.label = "NUA FAT32"; break;
  }
  return plan;
}

std::vector<FatOperation> fatBasicOperations(std::uint64_t seed, std::uint32_t clusterBytes) {
  const auto bytes = [&](std::uint64_t salt, double clusters) {
    return fatSampleContent(seed * 1000 + salt, static_cast<std::size_t>(clusters * clusterBytes));
  };
  std::vector<FatOperation> ops;
  ops.push_back(folder("/Documents"));
  ops.push_back(file("/Documents/Quarterly report 2014.txt", bytes(1, 3.5)));
  ops.push_back(file("/Documents/notes.txt", bytes(2, 0.6)));
  ops.push_back(file("/Documents/Empty placeholder.txt", {}));
  ops.push_back(file("/Documents/Deleted letter to the bank.txt", bytes(3, 2.3)));
  ops.push_back(file("/Documents/Overwritten draft.txt", bytes(4, 2.0)));
  ops.push_back(folder("/Many files in one folder"));
  for (int i = 1; i <= 24; ++i) {
    const std::string number = (i < 10 ? "0" : "") + std::to_string(i);
    ops.push_back(file("/Many files in one folder/Daily log entry " + number + ".txt", bytes(100 + i, 0.3)));
  }
  ops.push_back(folder("/Nested"));
  ops.push_back(folder("/Nested/Level two"));
  ops.push_back(folder("/Nested/Level two/Level three"));
  ops.push_back(file("/Nested/Level two/Level three/deep file.dat", bytes(5, 1.2)));
  ops.push_back(folder("/Old holiday pictures"));
  ops.push_back(file("/Old holiday pictures/Beach at sunset.txt", bytes(6, 1.5)));
  ops.push_back(file("/Old holiday pictures/Mountain trail.txt", bytes(7, 2.5)));
  ops.push_back(folder("/Fragments"));
  ops.push_back(file("/Fragments/first part.bin", bytes(8, 5.0)));
  ops.push_back(file("/Fragments/gap filler.bin", bytes(9, 3.0)));
  ops.push_back(file("/Fragments/after the gap.bin", bytes(10, 4.0)));
  ops.push_back(remove("/Fragments/gap filler.bin"));
  // Takes the three freed clusters, then continues behind the last allocated one.
  ops.push_back(file("/Fragments/Fragmented live file.bin", bytes(11, 7.5)));
  // Deleting and then writing a smaller file hands the freed clusters straight back.
  ops.push_back(remove("/Documents/Overwritten draft.txt"));
  ops.push_back(file("/Replacement draft.txt", bytes(12, 1.0)));  // elsewhere, so the old slot stays
  ops.push_back(file("/Fragments/spacer one.bin", bytes(13, 2.0)));
  ops.push_back(file("/Fragments/spacer two.bin", bytes(14, 2.0)));
  ops.push_back(file("/Fragments/spacer three.bin", bytes(15, 2.0)));
  ops.push_back(remove("/Fragments/spacer two.bin"));
  ops.push_back(file("/Fragments/Deleted fragmented file.bin", bytes(16, 4.5)));
  // Nothing is written after these, so their clusters keep the old bytes.
  ops.push_back(remove("/Fragments/Deleted fragmented file.bin"));
  ops.push_back(remove("/Documents/Deleted letter to the bank.txt"));
  ops.push_back(removeTree("/Old holiday pictures"));
  return ops;
}

void registerFatScenarios() {
  registerBasic("fat12-basic", FatKind::Fat12);
  registerBasic("fat16-basic", FatKind::Fat16);
  registerBasic("fat32-basic", FatKind::Fat32);
  registerDamaged("fat-second-fat-differs", "FAT16 volume whose two tables disagree (--fat 12|16|32, --bad-first-media)",
                  FatKind::Fat16, damageSecondFat);
  registerDamaged("fat-zero-sectors-per-cluster", "FAT16 volume whose boot sector says 0 sectors per cluster",
                  FatKind::Fat16, damageZeroSectorsPerCluster);
  registerDamaged("fat-dir-loop", "FAT32 volume with a folder entry leading back to an ancestor",
                  FatKind::Fat32, damageDirectoryLoop);
  registerDamaged("fat-chain-loop", "FAT32 volume with a file whose cluster chain loops", FatKind::Fat32,
                  damageChainLoop);
  registerDamaged("fat-zero-total-sectors", "FAT16 volume whose boot sector gives 0 in both total-sector fields "
                  "(--fat 12|16|32)", FatKind::Fat16, damageZeroTotalSectors);
  registerDamaged("fat-oversized-boot", "FAT16 volume whose boot sector claims four times its sectors",
                  FatKind::Fat16, damageOversizedBoot);
}

}  // namespace nua::imagekit
