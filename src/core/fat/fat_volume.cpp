#include "fat/fat_volume.h"

#include <algorithm>
#include <vector>

#include "fat/fat_directory_walk.h"
#include "fat/fat_table.h"

namespace nua {
namespace {

constexpr std::size_t kPageBytes = 4096;

// A zeroed page of at least one sector, and the sectors it holds.
std::vector<std::byte> pageBuffer(const Volume& volume, std::int32_t& sectors) {
  const auto sectorBytes = static_cast<std::size_t>(std::max(volume.u32BytesInSector, 1));
  sectors = static_cast<std::int32_t>(std::max<std::size_t>(1, kPageBytes / sectorBytes));
  return std::vector<std::byte>(static_cast<std::size_t>(sectors) * sectorBytes, std::byte{0});
}

}  // namespace

std::string FatVolume::fatFileSystemDetermination(MediaReader& media, const Dict& volumeDict) {
  const auto sectorBytes = static_cast<std::size_t>(std::max(media.u32BytesInSector, 1));
  std::vector<std::byte> buffer(std::max(4 * sectorBytes, kFatBootSectorSize), std::byte{0});
  (void)media.readSector(volumeDict.uint64("Volume Start"), 4, buffer);
  auto boot = parseFatBootSector(buffer);
  if (!boot) return "-";
  // The holder's length stands in for a total-sectors field that is 0 or too large.
  const std::uint64_t sourceBytes = volumeDict.has("Volume Size In Sectors")
                                        ? volumeDict.uint64("Volume Size In Sectors") * sectorBytes
                                        : volumeDict.uint64("Size");
  return fatTypeOf(*boot, sourceBytes);
}

std::uint8_t FatVolume::checkFATFileSystemHealthy() {
  Volume& v = volume_;
  std::int32_t pageSectors = 0;
  std::vector<std::byte> page = pageBuffer(v, pageSectors);
  (void)v.readSector(v.HPlusVolStart, pageSectors, page);
  v.fat.u32RootDirectorySectors = 0;
  auto parsed = parseFatBootSector(page);
  if (!parsed) return 0;
  boot_ = *parsed;
  const bool jumpOk = boot_.jump == 0xE9 || (boot_.jump == 0xEB && boot_.jumpOperand == 0x90);
  if (!jumpOk || boot_.signature != kFatBootSignature) return 0;
  v.fat.bFATOneIsHealthy = true;
  v.fat.u8SectorPerCluster = boot_.sectorsPerCluster;
  v.blockSize = boot_.sectorsPerCluster;
  v.fat.u16ReservedSectorCount = boot_.reservedSectors;
  v.fat.u16NumberOfFats = boot_.fatCount;
  if (v.volumeContent == "FAT12" || v.volumeContent == "FAT16") {
    const auto sectorBytes = static_cast<std::uint32_t>(std::max(v.u32BytesInSector, 1));
    v.fat.u32RootDirectorySectors = (std::uint32_t{boot_.rootEntries} * 32U + sectorBytes - 1U) / sectorBytes;
  }
  // The whole 32-bit size: a table of 64 Ki sectors or more is common on FAT32.
  v.fat.u32FATSize = boot_.fatSize16 != 0 ? boot_.fatSize16 : boot_.fatSize32;
  if (boot_.bytesPerSector % 512U != 0) return 0;
  if (boot_.sectorsPerCluster != 1 && boot_.sectorsPerCluster % 2U != 0) return 0;
  if (boot_.fatCount != 2) return 0;
  const std::uint8_t media = boot_.mediaDescriptor;

  std::fill(page.begin(), page.end(), std::byte{0});
  if (!v.readSector(v.HPlusVolStart + v.fat.u16ReservedSectorCount, pageSectors, page)) return 0;
  if (u8(page, 0) == media) return 1;
  v.fat.bFATOneIsHealthy = false;
  std::fill(page.begin(), page.end(), std::byte{0});
  (void)v.readSector(v.HPlusVolStart + v.fat.u16ReservedSectorCount + std::uint64_t{v.fat.u32FATSize}, pageSectors, page);
  return u8(page, 0) == media ? 1 : 0;
}

std::uint32_t FatVolume::maxCluster() const {
  const Volume& v = volume_;
  if (v.fat.u8SectorPerCluster == 0) return 0;
  const std::uint64_t total = fatVolumeSectors(boot_, v.sizeInSect);
  if (total <= v.fat.u64SaveVolumeStart) return 0;
  const std::uint64_t clusters = (total - v.fat.u64SaveVolumeStart) / v.fat.u8SectorPerCluster;
  const std::uint64_t tableBytes =
      std::uint64_t{v.fat.u32FATSize} * static_cast<std::uint64_t>(std::max(v.u32BytesInSector, 1));
  std::uint64_t tableEntries = tableBytes / 4;
  if (v.volumeContent == "FAT12") tableEntries = tableBytes * 2 / 3;
  if (v.volumeContent == "FAT16") tableEntries = tableBytes / 2;
  const std::uint64_t highest =
      std::min({clusters + 1, tableEntries == 0 ? 0 : tableEntries - 1, std::uint64_t{0x0FFFFFF5}});
  return static_cast<std::uint32_t>(highest);
}

std::uint8_t FatVolume::startFATFileSystemRecovery() {
  Volume& v = volume_;
  const std::uint8_t healthy = checkFATFileSystemHealthy();
  v.fat.u16ProcessedDirEntryInRootDirectory = 0;
  if (healthy == 0) {
    progress_.alert({"!Volume corrupted",
                     "File system based recovery not possible. Recommend for Advanced scan or Signature Search",
                     {"OK"}});
    return 0;
  }
  v.counters.fileCount = v.counters.folderCount = v.counters.entryCount = v.counters.dataSize = 0;
  v.fat.u32RootDirectoryStart =
      static_cast<std::uint32_t>(v.fat.u16ReservedSectorCount + std::uint64_t{v.fat.u16NumberOfFats} * v.fat.u32FATSize);
  v.fat.u64SaveVolumeStart = std::uint64_t{v.fat.u32RootDirectoryStart} + v.fat.u32RootDirectorySectors;
  v.blocksStartsAtSector = v.fat.u64SaveVolumeStart;
  std::uint8_t answer = 0;
  if (const auto bits = fatBitsOf(v.volumeContent)) {
    FatTable table(v, *bits, maxCluster());
    FatDirectoryWalk walk(v, table, progress_);
    answer = walk.enumerateRoot(v.dirRoot);
  }
  return answer;
}

}  // namespace nua
