// FAT volumes as other formatters and other disks leave them: Windows-style boot sectors, a FAT16
// volume close to its cluster limit, and volumes in 4096-byte sectors, bare or inside an MBR.
#include "imagekit/fat_scenarios.h"
#include "imagekit/partition_disk.h"
#include "imagekit/partition_map.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

constexpr std::uint32_t kLargeSector = 4096;
constexpr std::uint64_t kPartitionStartBytes = 1024 * 1024;

bool smallKindOption(const ScenarioOptions& options, FatKind& kind, std::string& error) {
  std::uint64_t bits = 0;
  if (!optionUint(options, "fat", 16, bits, error)) return false;
  if (bits != 12 && bits != 16) {
    error = "--fat must be 12 or 16";
    return false;
  }
  kind = bits == 12 ? FatKind::Fat12 : FatKind::Fat16;
  return true;
}

// Writes the volume as the whole image and moves its description into the manifest.
bool finishBareImage(FatBuild& build, const std::string& outPath, Manifest& manifest, std::string& error) {
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

// The boot sector as Windows and DOS write it: their OEM name, and boot code in every byte from the
// end of the parameter block to the signature, over the place where a partition table would stand.
void writeWindowsBootCode(FatBuild& build, std::uint64_t seed) {
  const char oemName[] = "MSDOS5.0";
  for (std::size_t i = 0; i < 8; ++i) put8(build.volume, 3 + i, static_cast<std::uint8_t>(oemName[i]));
  std::uint64_t state = seed * 0x9E3779B97F4A7C15ULL + 0x3E;
  for (std::size_t at = 0x3E; at < 0x1FE; ++at) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    put8(build.volume, at, static_cast<std::uint8_t>((state / 0x200000000ULL) % 256U));
  }
  build.manifest.extra["bootSector"] = {{"oemName", "MSDOS5.0"},
                                        {"hiddenSectors", le32(build.volume, 28)},
                                        {"mediaDescriptor", u8(build.volume, 21)},
                                        {"bootCodeBytes", "0x3e-0x1fd"}};
}

// FAT16: the basic 8 MiB volume. FAT12: a 1.44 MB floppy with media 0xF0 and 224 root entries.
bool makeWindowsBoot(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                     std::string& error) {
  FatKind kind = FatKind::Fat16;
  if (!smallKindOption(options, kind, error)) return false;
  FatVolumePlan plan = fatBasicGeometry(kind, options.seed);
  plan.formatOptions = {"-h", "63"};  // copied out of a partition that began at sector 63
  if (kind == FatKind::Fat12) {
    plan.sizeKiB = 1440;
    plan.label = "FLOPPY";
    plan.formatOptions.insert(plan.formatOptions.end(), {"-M", "0xF0", "-r", "224", "-f", "2"});
  }
  plan.operations = fatBasicOperations(options.seed, plan.sectorsPerCluster * plan.sectorSize);
  FatBuild build;
  if (!buildFatVolume(plan, build, error)) return false;
  writeWindowsBootCode(build, options.seed);
  return finishBareImage(build, outPath, manifest, error);
}

// 65,439 clusters of one sector: FAT16 by the standard count, FAT32 by one that leaves out a table.
bool makeFat16MaxClusters(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                          std::string& error) {
  FatVolumePlan plan = fatBasicGeometry(FatKind::Fat16, options.seed);
  plan.sizeKiB = 32992;
  plan.sectorsPerCluster = 1;
  plan.operations = fatBasicOperations(options.seed, plan.sectorSize);
  FatBuild build;
  if (!buildFatVolume(plan, build, error)) return false;
  build.manifest.extra["clusterCount"] = build.geometry.clusterCount;
  return finishBareImage(build, outPath, manifest, error);
}

bool buildLargeSectorVolume(FatKind kind, std::uint64_t seed, FatBuild& build, std::string& error) {
  FatVolumePlan plan = fatBasicGeometry(kind, seed);
  plan.sectorSize = kLargeSector;
  plan.sectorsPerCluster = 1;
  plan.sizeKiB = kind == FatKind::Fat12 ? 8192 : 32768;
  plan.operations = fatBasicOperations(seed, kLargeSector);
  return buildFatVolume(plan, build, error);
}

bool makeLargeSectorBare(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                         std::string& error) {
  FatKind kind = FatKind::Fat16;
  FatBuild build;
  return smallKindOption(options, kind, error) && buildLargeSectorVolume(kind, options.seed, build, error) &&
         finishBareImage(build, outPath, manifest, error);
}

// An MBR on a disk of 4096-byte sectors with one FAT16 partition (type 0x06) 1 MiB in.
bool makeLargeSectorMbr(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                        std::string& error) {
  DiskVolume volume;
  volume.isFat = true;
  if (!buildLargeSectorVolume(FatKind::Fat16, options.seed, volume.fat, error)) return false;
  volume.bytes = volume.fat.volume.size();
  const std::uint64_t start = kPartitionStartBytes / kLargeSector;
  const std::uint64_t count = partitionSectors(volume.bytes, kLargeSector);
  ImageWriter out(outPath, (start + count) * kLargeSector);
  std::vector<std::byte> sector(kLargeSector);
  putMbrRecord(sector, {{0x06, static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(count), true}});
  out.write(0, sector);
  if (!placeVolume(volume, out, start, kLargeSector, manifest, error)) return false;
  manifest.partitions = {{"scheme", "mbr"},
                         {"sectorSize", kLargeSector},
                         {"entries", nlohmann::json::array({partitionJson(1, "0x06", "", start, count)})}};
  manifest.sectorSize = kLargeSector;
  manifest.imageBytes = out.totalBytes();
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  return true;
}

}  // namespace

void registerFatGeometryScenarios() {
  registerScenario({"fat-windows-boot",
                    "FAT16 (or with --fat 12 a 1.44 MB floppy, media 0xF0) with a Windows-style boot sector: "
                    "OEM name MSDOS5.0, boot code over 0x3e-0x1fd, 63 hidden sectors",
                    makeWindowsBoot});
  registerScenario({"fat16-max-clusters", "FAT16 volume of 65,439 clusters", makeFat16MaxClusters});
  registerScenario({"fat-4k-sectors", "FAT16 (--fat 12|16) volume image in 4096-byte sectors", makeLargeSectorBare});
  registerScenario({"mbr-4k-fat", "MBR disk of 4096-byte sectors holding one FAT16 partition", makeLargeSectorMbr});
}

}  // namespace nua::imagekit
