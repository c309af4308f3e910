// Whether a folder may take the saved files: free space, writable, its file system type, and never
// the device being recovered. Facts are gathered apart from the decision so the decision can be
// tested with any device identity.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/ui_bridge.h"

namespace nua {

// The source as it was opened: a block device by its device number, an image file by the device
// holding it and its inode.
struct SourceIdentity {
  bool known = false;
  bool isBlockDevice = false;
  std::uint64_t deviceNumber = 0;
  std::uint64_t inodeNumber = 0;
};

struct DestinationFacts {
  bool exists = false;        // stat succeeded on a folder
  std::uint64_t deviceNumber = 0;  // st_dev of the folder
  std::uint64_t inodeNumber = 0;
  std::uint64_t freeBytes = 0;  // 0 when the file system could not be asked
  bool fileSystemKnown = false;  // the type and writable answers below hold
  bool writable = false;       // mounted read-write and the folder is writable by us
  std::string type;            // "hfs" for HFS Plus and HFS, else the file system's magic in hex
};

[[nodiscard]] DestinationFacts probeDestination(const std::string& path);

// The devices one block device stands on: a partition's whole disk, a mapped or RAID device's
// members. Read from /sys/dev/block; empty when there is nothing below it or sysfs has no entry.
using BlockParents = std::function<std::vector<std::uint64_t>(std::uint64_t deviceNumber)>;
[[nodiscard]] std::vector<std::uint64_t> blockParentsFromSysfs(std::uint64_t deviceNumber);

// A block-device source holds the destination when the destination's device is the source or stands
// on it (a partition of it, or a mapping over one); an image source only when the folder would be
// the image itself.
[[nodiscard]] bool destinationOnSource(const SourceIdentity& source, const DestinationFacts& destination,
                                       const BlockParents& parents);

struct DestinationVerdict {
  std::optional<Alert> refusal;  // the alert to show; saving does not start
  std::uint8_t canSaveSlashes = 0;  // 1: "/" in names is saved as ":"; 0: as "_", after a warning
};

// The checks in order: free space (equal is enough), writable, the source device; sets
// canSaveSlashes from the type (1 for "hfs" or an unknown type).
[[nodiscard]] DestinationVerdict checkDestinationFacts(const DestinationFacts& destination, std::uint64_t markedData,
                                                       const SourceIdentity& source, const BlockParents& parents);

}  // namespace nua
