// The rows of the wizard's lists: a drive or volume found by discovery, a partition read from a
// disk's map, or a lost volume found by the search. They turn into the keyed dictionary only where
// one is printed or stored.
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

// Keys of a drive or volume row that the wizard reads.
inline constexpr const char* kWhetherVolumeKey = "WhetherVolume";
inline constexpr const char* kWhetherDiskDictKey = "WhetherDiskDict";
inline constexpr const char* kDeviceModelKey = "device model";
inline constexpr const char* kDeviceSerialKey = "device serial";
inline constexpr const char* kDeviceRevisionKey = "device revision";
inline constexpr const char* kParentDrivePathKey = "Parent Drive Path";
inline constexpr const char* kMountedPathKey = "Mounted Path";
inline constexpr const char* kJournaledKey = "journaled";
inline constexpr const char* kSupportFileSystemRecoveryKey = "supportFileSystemRecovery";
inline constexpr const char* kChildrenVolumeArrayKey = "Children Volume Array";

// A row of the drive list: a whole drive, or a volume (a mounted one, one of an image, or a
// partition of a drive). Discovery copies whatever the system says of a medium, and `drives --json`
// prints all of it, so the properties the wizard does not read stay in `otherProperties`.
struct DriveRow {
  std::string path;
  bool isVolume = false;     // a volume rather than a whole drive
  bool isWholeDisk = false;  // a drive whose whole surface is one FAT volume, or an image of one
  std::string content;       // "Apple_HFS", "FAT32", "-" when a volume's file system is unreadable...
  std::string volumeName;
  std::string model;
  std::string serial;
  std::string revision;
  std::string parentDrivePath;  // of a volume: the drive it lies on
  std::string mountedPath;
  std::string journaled;  // "Yes", "No" or "-"
  std::optional<std::uint64_t> sizeBytes;
  std::optional<std::uint64_t> sectorSizeBytes;
  // Whether the volume's catalog can be scanned (else only the signature search applies).
  std::optional<std::int64_t> fileSystemRecovery;
  std::optional<std::string> iconResource;
  std::optional<std::string> iconBundlePath;
  std::vector<DriveRow> childVolumes;  // of a drive listed with its volumes
  Dict otherProperties;

  [[nodiscard]] bool supportsFileSystemRecovery() const { return fileSystemRecovery.value_or(0) != 0; }

  // The row under the keys discovery gave it. fromDict takes a property into its field only when the
  // value has the field's kind (a string non-empty, a flag true, a number an integer, the children a
  // non-empty array of dictionaries); anything else stays in otherProperties, so toDict gives back
  // what fromDict was given, up to the kind of integer a number is stored as.
  [[nodiscard]] Dict toDict() const;
  [[nodiscard]] static DriveRow fromDict(const Dict& dict);

  friend bool operator==(const DriveRow&, const DriveRow&) = default;
};

[[nodiscard]] std::vector<DriveRow> toDriveRows(const std::vector<Dict>& dicts);
[[nodiscard]] DictArray toDictArray(const std::vector<DriveRow>& rows);

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
  // A field the drive row lacks stays unset.
  void takeDriveGeometry(const DriveRow& drive);

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
