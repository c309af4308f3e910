// The Linux source of discovery's inputs: per block device the property dictionaries the drive
// finder merges (from sysfs, the udev database and the device's own partition table), and one
// dictionary per mounted block device from mountinfo. Everything is read under a system root, so
// tests run against a fake tree.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/dict.h"
#include "media/drive_finder.h"

namespace nua {

// Kernel naming and device numbers: a partition is what sysfs says, a mount belongs to the device
// with its major:minor, and "sda1" lies on "sda", "nvme0n1p1" on "nvme0n1", never "sdaa1" on "sda".
class LinuxPathRules : public DevicePathRules {
 public:
  [[nodiscard]] std::string pathForBsdName(const std::string& bsdName) const override { return "/dev/" + bsdName; }
  [[nodiscard]] bool isPartition(const std::string& path) const override { return partitions.count(path) != 0; }
  [[nodiscard]] bool mountMatches(const std::string& path, const Dict& mount) const override;
  [[nodiscard]] bool volumeBelongsToDrive(const std::string& volumePath, const std::string& drivePath) const override;

  std::set<std::string> partitions;               // device paths of partitions
  std::map<std::string, std::string> deviceNumbers;  // device path -> "major:minor"
};

struct LinuxMedia {
  std::vector<std::vector<Dict>> responseDriveFinder;
  std::vector<Dict> finalArrayForVolumes;
  // Whole disks on which nothing is mounted: their volumes are listed from their own map.
  std::vector<Dict> unmountedDisks;  // "Path", "Preferred Block Size", "Size"
};

// Reads `systemRoot`/sys/class/block, /sys/dev/block, /run/udev/data and /proc/self/mountinfo.
// Devices that cannot be described are left out; nothing here fails.
[[nodiscard]] LinuxMedia findLinuxMedia(const std::string& systemRoot, LinuxPathRules& rules);

// Parses mountinfo text: "Mounted Path", "Volume Name", "Volume Path", "Device Number",
// "File System Type" per line, in order; octal escapes in paths are decoded.
[[nodiscard]] std::vector<Dict> parseMountInfo(const std::string& text);

// The content name discovery expects for a partition type: an MBR type as hex ("0xc"), a GPT type
// GUID, or an Apple map type.
[[nodiscard]] std::string contentForPartitionType(const std::string& scheme, const std::string& type);

}  // namespace nua
