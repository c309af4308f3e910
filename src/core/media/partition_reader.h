// The partition list of a whole disk or image: which scheme it carries (MBR with its extended chain,
// GPT, Apple partition map, or a bare HFS+ volume), its HFS+ partitions, and each one's true name
// from the root folder of its catalog. Reads through the MediaReader's sector reader only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/media_reader.h"
#include "media/hfs_btree_layout.h"
#include "ondisk/volume_information_block.h"
#include "records/extent.h"

namespace nua {

class PartitionReader {
 public:
  explicit PartitionReader(MediaReader& media) : media_(media) {}

  // Finds the scheme and appends one row per HFS+ partition to `partitions` (found in the map,
  // content "Apple_HFS", on the drive of the MediaReader). Unreadable or damaged maps give a short or
  // empty list, never an error.
  void initialize(std::vector<PartitionRow>& partitions);

  // The scheme readers fill the MediaReader's volumePMArray.
  void readAndInterpretMBR();
  void readAndInterpretGPT();
  void readAndInterpretPM();
  // Replace the row's volume name by the volume's own name where its catalog can be read.
  void getVolumeNamesGPT();
  void getVolumeNamesPM();

  // Node number to absolute sector over the catalog's (extents file's) extents; 0 past the end.
  [[nodiscard]] std::uint64_t catalogNodeToSector(std::uint32_t node) const;
  [[nodiscard]] std::uint64_t extentsNodeToSector(std::int32_t node) const;
  // The further extents of a fork from the extents overflow tree; empty when they cannot be found.
  [[nodiscard]] std::vector<Extent> extentsForID(std::uint32_t fileID, std::uint8_t fork, std::uint32_t startBlock,
                                                 std::uint32_t totalBlocks);

  // Every partition of the map whatever its type, unnamed, with the content in the names discovery
  // uses ("Apple_HFS", "Windows_FAT_32", a GPT type GUID, ...); used to list the volumes of an image.
  [[nodiscard]] std::vector<PartitionRow> listAllPartitions();

  // Why the last MBR chain walk stopped early, or empty.
  [[nodiscard]] const std::string& chainStopReason() const { return chainStopReason_; }
  // The GPT header the last GPT read used: "primary", "backup" or "primary (CRC mismatch)"; empty
  // when the disk was not read as GPT or no header was found.
  [[nodiscard]] const std::string& gptHeaderUsed() const { return gptHeaderUsed_; }

 private:
  [[nodiscard]] bool readBytes(std::uint64_t byteOffset, std::span<std::byte> out);
  [[nodiscard]] PartitionRow partitionRow(std::uint64_t start, std::uint64_t size, const std::string& name) const;
  // Sets HPlusVolStart and reads the volume header there; false when it is not HFS+.
  [[nodiscard]] bool readVolumeHeaderAt(std::uint64_t volumeStart, bool checkSignature);
  // Steps 2 to 7 of the catalog name lookup for the volume at HPlusVolStart.
  void nameFromCatalog(PartitionRow& partition);
  // A map-less volume: its primary header, or, when that is lost, its alternate at the end.
  void bareVolume();
  [[nodiscard]] bool hasAlternateHfsHeader();

  MediaReader& media_;
  // The catalog and extents trees of the HFS+ volume being named.
  HfsBTreeLayout trees_;
  std::vector<Extent> extentsFileExtents_;  // the extents file's own eight descriptors
  std::string chainStopReason_;
  std::string gptHeaderUsed_;
  VolumeInformationBlock header_;
  bool allTypes_ = false;
};

}  // namespace nua
