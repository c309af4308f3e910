// What a device stands on, one level down: a partition's whole disk, a mapping's members, a loop
// device's backing file, or the device a file system without a block device of its own (btrfs, FUSE)
// was mounted from. Saving follows these links down to tell whether a folder lives on the source.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nua {

// A file by the device of its file system and its inode; the path for the record.
struct FileIdentity {
  std::uint64_t deviceNumber = 0;
  std::uint64_t inodeNumber = 0;
  std::string path;

  [[nodiscard]] bool sameFile(const FileIdentity& other) const {
    return inodeNumber != 0 && deviceNumber == other.deviceNumber && inodeNumber == other.inodeNumber;
  }
};

struct StorageBelow {
  std::vector<std::uint64_t> devices;      // block devices this one is made of
  std::optional<FileIdentity> backingFile;  // a loop device's file
};

// Tells what a device number stands on. Tests hand in made-up layouts.
using StorageLookup = std::function<StorageBelow(std::uint64_t deviceNumber)>;

// From /sys/dev/block (partition, slaves, loop/backing_file) and, for a device number without a
// block device, from the mount it belongs to in /proc/self/mountinfo. Empty when neither knows it.
[[nodiscard]] StorageBelow storageBelowFromSystem(std::uint64_t deviceNumber);

}  // namespace nua
