// Places volumes inside a partitioned disk image: sizes them in disk sectors, writes them at their
// partition's start and records them, with the partition list, in the manifest.
#pragma once

#include <cstdint>
#include <string>

#include "imagekit/fat_builder.h"
#include "imagekit/hfs_writer.h"
#include "imagekit/image_file.h"
#include "imagekit/manifest.h"

namespace nua::imagekit {

// One volume waiting for its partition: either an HFS+ plan or an already built FAT volume.
struct DiskVolume {
  bool isFat = false;
  HfsVolumeSpec hfs;
  FatBuild fat;
  std::uint64_t bytes = 0;  // what the volume occupies
};

// A small HFS+ (or HFSX) volume with a folder and three files of seed-derived content.
[[nodiscard]] bool prepareHfsVolume(DiskVolume& volume, const std::string& name, std::uint64_t seed,
                                    std::uint32_t sectorSize, bool hfsx, std::string& error);
// Sizes a volume whose `hfs` description the caller filled in.
[[nodiscard]] bool sizeHfsVolume(DiskVolume& volume, std::string& error);
// A FAT volume of the given variant with a short list of live and deleted files.
[[nodiscard]] bool prepareFatVolume(DiskVolume& volume, FatKind kind, std::uint64_t seed, std::string& error);

// Sectors of `sectorSize` bytes that hold `bytes`, rounded up to whole MiB so partitions stay aligned.
[[nodiscard]] std::uint64_t partitionSectors(std::uint64_t bytes, std::uint32_t sectorSize);

// Writes the volume at `startSector` and appends its description (startSector set) to the manifest.
[[nodiscard]] bool placeVolume(DiskVolume& volume, ImageWriter& out, std::uint64_t startSector,
                               std::uint32_t sectorSize, Manifest& manifest, std::string& error);

// One partition as the manifest lists it; `type` is hex ("0xaf"), a GUID or an Apple type string.
[[nodiscard]] nlohmann::json partitionJson(std::uint32_t index, const std::string& type, const std::string& name,
                                           std::uint64_t startSector, std::uint64_t sectorCount);

}  // namespace nua::imagekit
