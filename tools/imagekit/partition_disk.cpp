// Volume placement shared by the partition-map and demo scenarios.
#include "imagekit/partition_disk.h"

#include "imagekit/fat_scenarios.h"

namespace nua::imagekit {

namespace {
constexpr std::uint64_t kAlignBytes = 1024 * 1024;
}  // namespace

bool sizeHfsVolume(DiskVolume& volume, std::string& error) {
  volume.isFat = false;
  volume.bytes = hfsVolumeBytes(volume.hfs, error);
  return volume.bytes != 0;
}

bool prepareHfsVolume(DiskVolume& volume, const std::string& name, std::uint64_t seed, std::uint32_t sectorSize,
                      bool hfsx, std::string& error) {
  volume.hfs = HfsVolumeSpec{};
  volume.hfs.volumeName = name;
  volume.hfs.hfsx = hfsx;
  volume.hfs.sectorSize = sectorSize;
  volume.hfs.seed = seed;
  HfsFileSpec folder;
  folder.path = "/Reports";
  folder.folder = true;
  volume.hfs.files.push_back(folder);
  const std::uint64_t sizes[] = {12000, 70000, 3000};
  const char* names[] = {"/Reports/Summer budget.txt", "/Reports/Minutes of the meeting.txt", "/read me.txt"};
  for (std::size_t i = 0; i < 3; ++i) {
    HfsFileSpec file;
    file.path = names[i];
    file.content = fatSampleContent(seed * 100 + i, static_cast<std::size_t>(sizes[i]));
    volume.hfs.files.push_back(file);
  }
  return sizeHfsVolume(volume, error);
}

bool prepareFatVolume(DiskVolume& volume, FatKind kind, std::uint64_t seed, std::string& error) {
  FatVolumePlan plan = fatBasicGeometry(kind, seed);
  const std::uint32_t clusterBytes = plan.sectorsPerCluster * plan.sectorSize;
  plan.operations = {
      {FatOperation::Kind::MakeFolder, "/Shared files", {}},
      {FatOperation::Kind::WriteFile, "/Shared files/Price list 2015.txt", fatSampleContent(seed * 10 + 1, clusterBytes * 3)},
      {FatOperation::Kind::WriteFile, "/Shared files/Old price list.txt", fatSampleContent(seed * 10 + 2, clusterBytes * 2)},
      {FatOperation::Kind::WriteFile, "/welcome.txt", fatSampleContent(seed * 10 + 3, 900)},
      {FatOperation::Kind::Delete, "/Shared files/Old price list.txt", {}},
  };
  volume.isFat = true;
  if (!buildFatVolume(plan, volume.fat, error)) return false;
  volume.bytes = volume.fat.volume.size();
  return true;
}

std::uint64_t partitionSectors(std::uint64_t bytes, std::uint32_t sectorSize) {
  const std::uint64_t aligned = (bytes + kAlignBytes - 1) / kAlignBytes * kAlignBytes;
  return aligned / sectorSize;
}

bool placeVolume(DiskVolume& volume, ImageWriter& out, std::uint64_t startSector, std::uint32_t sectorSize,
                 Manifest& manifest, std::string& error) {
  const std::uint64_t byteOffset = startSector * sectorSize;
  ManifestVolume described;
  if (volume.isFat) {
    // Hidden sectors (offset 28): where the volume starts on the disk, as a formatter in place would say.
    putLe32(volume.fat.volume, 28, static_cast<std::uint32_t>(startSector));
    writeFatVolume(volume.fat, out, byteOffset);
    described = volume.fat.manifest;
  } else if (!buildHfsVolume(volume.hfs, out, byteOffset, described, error)) {
    return false;
  }
  described.startSector = startSector;
  described.sectorSize = sectorSize;
  described.sectorCount = (volume.bytes + sectorSize - 1) / sectorSize;
  manifest.volumes.push_back(std::move(described));
  return true;
}

nlohmann::json partitionJson(std::uint32_t index, const std::string& type, const std::string& name,
                             std::uint64_t startSector, std::uint64_t sectorCount) {
  return {{"index", index}, {"type", type}, {"name", name}, {"startSector", startSector}, {"sectorCount", sectorCount}};
}

}  // namespace nua::imagekit
