// DriveFinder: turns the property dictionaries of every medium and the list of mounts into the
// drive and volume lists, by plain rules over dictionaries. Where a rule depends on the platform
// (device paths, mount matching) or must read a volume, it asks the two small interfaces below.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/dict.h"

namespace nua {

// How device paths relate on this platform.
class DevicePathRules {
 public:
  virtual ~DevicePathRules() = default;
  // "Path" of a medium from its "BSD Name".
  [[nodiscard]] virtual std::string pathForBsdName(const std::string& bsdName) const = 0;
  // Whether the medium at `path` is a partition rather than a whole disk.
  [[nodiscard]] virtual bool isPartition(const std::string& path) const = 0;
  // Whether the mount dictionary (an entry of finalArrayForVolumes) comes from the medium at `path`.
  [[nodiscard]] virtual bool mountMatches(const std::string& path, const Dict& mount) const = 0;
  // Whether the volume at `volumePath` lies on the drive at `drivePath`.
  [[nodiscard]] virtual bool volumeBelongsToDrive(const std::string& volumePath, const std::string& drivePath) const = 0;
};

// The reads discovery makes of a volume's first sectors, and what it asks of the system.
class VolumeProbe {
 public:
  virtual ~VolumeProbe() = default;
  // "Content", "journaled", "HFSVolumeStart" and "supportFileSystemRecovery" of an HFS+ volume, or
  // nothing when its first sectors cannot be read.
  [[nodiscard]] virtual std::optional<Dict> checkForJournal(const Dict& entry) = 0;
  // Whether the boot sector names FAT at byte 54 or 82.
  [[nodiscard]] virtual bool isVolumeFAT(const Dict& entry) = 0;
  // "FAT12", "FAT16", "FAT32", or "-".
  [[nodiscard]] virtual std::string fatFileSystemDetermination(const Dict& entry) = 0;
  // Whether a drive's first sectors hold a FAT boot sector with no partition map around it.
  [[nodiscard]] virtual bool isFATWithoutPartitionMap(const Dict& drive) = 0;
  // The file system name of a mount ("hfs", "msdos", "vfat", "ext4", ...), or empty.
  [[nodiscard]] virtual std::string fileSystemType(const Dict& mount) = 0;
  // Where the icons named by a bundle identifier live, or "nil".
  [[nodiscard]] virtual std::string bundlePath(const std::string& bundleIdentifier) = 0;
};

// What discovery keeps of a device property: 0 dropped, 1 copied, 2 renamed by newKeyForKey, 3 a dictionary to descend into.
[[nodiscard]] int valueRequired(const std::string& key);
// The key and value a kept property is stored under.
[[nodiscard]] std::pair<std::string, DictValue> newKeyForKey(const std::string& key, const DictValue& value,
                                                             const DictValue* oldValue);

class DriveFinder {
 public:
  DriveFinder(const DevicePathRules& rules, VolumeProbe& probe) : rules_(rules), probe_(probe) {}

  // Inputs: per medium its own properties then up to four parents'; one dictionary per mount with
  // "Mounted Path", "Volume Name" and "Volume Path".
  std::vector<std::vector<Dict>> responseDriveFinder;
  std::vector<Dict> finalArrayForVolumes;
  // Images and unmounted disks, already in merged form: drives and volumes "as if mounted". They
  // join the working list after the mount matching, for the judging and numbering steps.
  std::vector<Dict> extraMedia;
  // Working list and results.
  std::vector<Dict> responseFindMedia;
  std::vector<Dict> driveDictArray;
  std::vector<Dict> volumeDictArray;
  std::vector<Dict> volumeDictArrayHFSOnly;

  // Every step from sortDriveFinderResponse on, in order.
  void buildLists();

  void sortDriveFinderResponse();
  void rearrangeDriveFinderResponse();
  void truncateDriveModelNumber();
  void separateDrvVol();
  void checkForFATPartitionByWindows();
  void attachVolumesToDrives();
  void fixBundleResource();
  void getDrvVolIconPaths();

 private:
  void mergeProperty(Dict& merged, const std::string& key, const DictValue& value);
  void applyContentRule(Dict& entry, const Dict& mount);
  // Fills in the FAT volume keys and adds the entry to volumeDictArray.
  void addFATVolume(Dict& entry);

  const DevicePathRules& rules_;
  VolumeProbe& probe_;
};

}  // namespace nua
