#include "exfat/exfat_volume.h"

#include <algorithm>
#include <vector>

#include "exfat/exfat_directory_walk.h"
#include "ondisk/exfat_directory_entry.h"

namespace nua {
namespace {

// The up-case table is at most 65536 two-byte units; anything longer is damage.
constexpr std::uint64_t kMaxUpcaseTableBytes = 2 * 65536;
// Sector sizes a boot region may have, tried when the main boot sector can't tell.
constexpr std::uint32_t kSectorSizes[] = {512, 1024, 2048, 4096};

std::uint32_t upcaseTableChecksum(ByteSpan table) {
  std::uint32_t checksum = 0;
  for (std::size_t i = 0; i < table.size(); ++i)
    checksum = (checksum % 2U != 0 ? 0x80000000U : 0U) + checksum / 2U + u8(table, i);
  return checksum;
}

}  // namespace

Parsed<ExfatBootSector> ExfatVolume::regionAt(std::uint64_t byteOffset, bool checksummed) {
  std::vector<std::byte> first(kExfatBootSectorSize, std::byte{0});
  if (!readVolumeBytes(volume_, byteOffset, first))
    return Parsed<ExfatBootSector>::failure("exFAT boot region: unreadable");
  const auto boot = parseExfatBootSector(first);
  if (!boot || !checksummed) return boot;
  std::vector<std::byte> region(std::size_t{boot->bytesPerSector()} * kExfatBootRegionSectors, std::byte{0});
  if (!readVolumeBytes(volume_, byteOffset, region))
    return Parsed<ExfatBootSector>::failure("exFAT boot region: unreadable");
  return parseExfatBootRegion(region);
}

std::optional<ExfatBootSector> ExfatVolume::readBootRegion(std::string& reason) {
  usedBackup_ = false;
  // A region whose checksum holds first, main before backup; then a boot sector that is sound in
  // itself, since a damaged checksum sector alone must not hide the volume's files.
  for (const bool checksummed : {true, false}) {
    const auto main = regionAt(0, checksummed);
    if (main) return *main;
    if (checksummed) reason = "main: " + main.reason;
    // The backup region starts twelve of the volume's sectors in; a damaged main boot sector can't
    // say how large those are, so each size is tried.
    for (std::uint32_t sectorBytes : kSectorSizes) {
      const auto backup = regionAt(std::uint64_t{sectorBytes} * kExfatBootRegionSectors, checksummed);
      if (backup && backup->bytesPerSector() == sectorBytes) {
        usedBackup_ = true;
        return *backup;
      }
      if (checksummed && sectorBytes == 512) reason += "; backup: " + backup.reason;
    }
  }
  return std::nullopt;
}

void ExfatVolume::readRootTables(const ExfatGeometry& geometry, std::uint32_t rootCluster, ExfatFatTable& fat,
                                 std::uint32_t& bitmapCluster, std::uint64_t& bitmapBytes) {
  ExfatAllocationBitmap none(volume_, geometry, 0, 0);
  const auto units = ExfatBlockUnits::of(geometry, static_cast<std::uint32_t>(std::max(volume_.u32BytesInSector, 1)));
  ExfatDirectoryWalk reader(volume_, geometry, units.value_or(ExfatBlockUnits{}), fat, none, progress_);
  bool whole = false;
  const std::vector<std::byte> root = reader.readDirectory(rootCluster, 0, false, whole);
  for (std::size_t at = 0; fits(root.size(), at, kExfatDirectoryEntrySize); at += kExfatDirectoryEntrySize) {
    const ByteSpan entry = ByteSpan(root).subspan(at, kExfatDirectoryEntrySize);
    const std::uint8_t type = u8(entry, 0);
    if (type == kExfatEndOfDirectory) break;
    if (type == kExfatVolumeLabel) {
      if (auto label = parseExfatVolumeLabel(entry)) volumeLabel_ = *label;
    } else if (type == kExfatAllocationBitmap && !foundBitmap_) {
      // The first bitmap belongs to the first FAT, the one this engine reads.
      const auto table = parseExfatClusterTableEntry(entry);
      if (table && (table->bitmapFlags % 2U) == 0 && table->dataLength >= (std::uint64_t{geometry.clusterCount} + 7) / 8) {
        foundBitmap_ = true;
        bitmapCluster = table->firstCluster;
        bitmapBytes = table->dataLength;
      }
    } else if (type == kExfatUpcaseTable && !upcaseMatches_) {
      const auto table = parseExfatClusterTableEntry(entry);
      if (!table || !geometry.isCluster(table->firstCluster) || table->dataLength > kMaxUpcaseTableBytes) {
        upcaseMatches_ = false;
        continue;
      }
      std::vector<std::byte> bytes(static_cast<std::size_t>(table->dataLength), std::byte{0});
      upcaseMatches_ = readVolumeBytes(volume_, geometry.clusterByteOffset(table->firstCluster), bytes) &&
                       upcaseTableChecksum(bytes) == table->tableChecksum;
    }
  }
}

std::uint8_t ExfatVolume::startExfatFileSystemRecovery() {
  Volume& v = volume_;
  v.fat.u16ProcessedDirEntryInRootDirectory = 0;
  std::string reason;
  const std::optional<ExfatBootSector> boot = readBootRegion(reason);
  const std::optional<ExfatGeometry> geometry = boot ? std::optional(ExfatGeometry::of(*boot)) : std::nullopt;
  const auto sectorBytes = static_cast<std::uint32_t>(std::max(v.u32BytesInSector, 1));
  const std::optional<ExfatBlockUnits> units = geometry ? ExfatBlockUnits::of(*geometry, sectorBytes) : std::nullopt;
  if (!units || v.dirRoot == nullptr) {
    progress_.alert({"!Volume corrupted",
                     "File system based recovery not possible. Recommend for Advanced scan or Signature Search",
                     {"OK"}});
    return 0;
  }
  v.counters.fileCount = v.counters.folderCount = v.counters.entryCount = v.counters.dataSize = 0;
  v.fat.bFATOneIsHealthy = true;
  v.fat.u8SectorPerCluster = units->sectorsPerBlock;
  v.blockSize = units->sectorsPerBlock;
  v.fat.u16NumberOfFats = boot->numberOfFats;
  v.fat.u32FATSize = boot->fatLength;
  v.fat.u32RootDirectorySectors = 0;
  v.fat.u64SaveVolumeStart = units->blockBaseSector;
  v.blocksStartsAtSector = units->blockBaseSector;
  v.dirRoot->blockBaseSector = units->blockBaseSector;

  ExfatFatTable fat(v, *geometry);
  std::uint32_t bitmapCluster = 0;
  std::uint64_t bitmapBytes = 0;
  readRootTables(*geometry, boot->firstClusterOfRootDirectory, fat, bitmapCluster, bitmapBytes);
  ExfatAllocationBitmap bitmap(v, *geometry, bitmapCluster, bitmapBytes);
  ExfatDirectoryWalk walk(v, *geometry, *units, fat, bitmap, progress_);
  return walk.enumerateRoot(v.dirRoot, boot->firstClusterOfRootDirectory);
}

}  // namespace nua
