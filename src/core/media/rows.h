// The rows of the wizard's partition lists: a partition read from a disk's map, or a lost volume
// found by the search. They turn into the keyed dictionary only where one is printed or stored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/dict.h"

namespace nua {

// Keys of a partition row as the command line prints them and a session stores them.
inline constexpr const char* kVolumeStartKey = "Volume Start";
inline constexpr const char* kVolumeSizeInSectorsKey = "Volume Size In Sectors";
inline constexpr const char* kVolumeNameKey = "Volume Name";
inline constexpr const char* kVolumeScanTypeKey = "Volume Scan Type";
inline constexpr const char* kPathKey = "Path";
inline constexpr const char* kModelKey = "Model";
inline constexpr const char* kSerialKey = "Serial";
inline constexpr const char* kRevisionKey = "Revision";
inline constexpr const char* kContentKey = "Content";
inline constexpr const char* kVolumeValidityKey = "Volume Validity";
inline constexpr const char* kWhetherAlternateSectorKey = "WhetherAlternateSector";
inline constexpr const char* kPreferredBlockSizeKey = "Preferred Block Size";
inline constexpr const char* kSizeKey = "Size";
inline constexpr const char* kIconResourceKey = "IOBundleResourceFile";
inline constexpr const char* kBundlePathKey = "bundle path";

// How a partition row was found.
enum class PartitionScanType : int {
  kPartitionMap = 0,  // an entry of the disk's partition map (or a map-less volume)
  kVolumeSearch = 1,  // a volume header found by the lost-volume search
};

struct PartitionRow {
  std::uint64_t volumeStart = 0;    // first sector of the volume, in the disk's sectors
  std::uint64_t sizeInSectors = 0;  // in the disk's sectors
  std::string volumeName;
  PartitionScanType scanType = PartitionScanType::kPartitionMap;
  // The drive it lies on.
  std::string path;
  std::string model;
  std::string serial;
  std::string revision;
  std::string content = "Apple_HFS";  // "Apple_HFS", "Windows_FAT_32", a GPT type GUID...
  // Found by the search only: the percentage of catalog records that could be read, and the sector
  // of the alternate header the volume was found by (0 when its primary header was).
  std::optional<std::uint64_t> volumeValidity;
  std::optional<std::uint64_t> alternateHeaderSector;
  // Added when the wizard lists the row under the drive it was read from.
  std::optional<std::uint64_t> sectorSizeBytes;
  std::optional<std::uint64_t> sizeBytes;
  std::optional<std::string> iconResource;
  std::optional<std::string> iconBundlePath;

  // The sector size, size and icon of the drive the row was read from, as the list shows them.
  // `drive` is a drive row's dictionary; a key it lacks stays unset.
  void takeDriveGeometry(const Dict& drive);

  // The row under the keys the command line prints and a session stores, with the same kinds of
  // value (the scan type a signed number, sector counts unsigned).
  [[nodiscard]] Dict toDict() const;
  // The row a stored dictionary describes; absent keys give empty or zero fields.
  [[nodiscard]] static PartitionRow fromDict(const Dict& dict);

  friend bool operator==(const PartitionRow&, const PartitionRow&) = default;
};

// The rows as the array of dictionaries the command line prints.
[[nodiscard]] DictArray toDictArray(const std::vector<PartitionRow>& rows);

}  // namespace nua
