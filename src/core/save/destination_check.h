// Whether a folder may take the saved files: free space, writable, its file system type, and never
// the device or image being recovered, however the folder's device is stacked on it. Facts are
// gathered apart from the decision so the decision can be tested with any device layout.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/ui_bridge.h"
#include "save/storage_below.h"

namespace nua {
class MediaReader;
}

namespace nua {

// The source as it was opened: a block device by its device number, an image file by the device
// holding it and its inode.
struct SourceIdentity {
  bool known = false;
  bool isBlockDevice = false;
  std::uint64_t deviceNumber = 0;
  std::uint64_t inodeNumber = 0;
  std::string path;  // absolute; matched against loop backing files whose inode cannot be learned
};

// The identity of what `source` reads from; not known when the file can't be opened.
[[nodiscard]] SourceIdentity sourceIdentityOf(MediaReader& source);

struct DestinationFacts {
  bool exists = false;        // stat succeeded on a folder
  std::uint64_t deviceNumber = 0;  // st_dev of the folder
  std::uint64_t inodeNumber = 0;
  std::uint64_t freeBytes = 0;  // 0 when the file system could not be asked
  bool fileSystemKnown = false;  // the type and writable answers below hold
  bool writable = false;       // mounted read-write and the folder is writable by us
  std::string type;            // "hfs" for HFS Plus and HFS, else the file system's magic in hex
  std::string mountType;       // the mount table's type ("ext4", "vfat"); for FUSE the device's own
};

[[nodiscard]] DestinationFacts probeDestination(const std::string& path);

// A destination is on the source when writing there writes to the source: its device is the source
// device or stands on it (a partition of it, a mapping over it, a file system mounted from it), or
// it is a loop device whose backing file is the source image or lies in a file system on the source
// (an image inside the image).
[[nodiscard]] bool destinationOnSource(const SourceIdentity& source, const DestinationFacts& destination,
                                       const StorageLookup& below);

// The same for a folder on this machine, by its facts and the system's device layout: whether a file
// written there (the crash-recovery pair, a session) would be written to the source.
[[nodiscard]] bool folderOnSource(const SourceIdentity& source, const std::string& folder);

struct DestinationVerdict {
  std::optional<Alert> refusal;  // the alert to show; saving does not start
  std::uint8_t canSaveSlashes = 0;  // 1: "/" in names is saved as ":"; 0: as "_"
  // "FAT", "exFAT" or "NTFS": a file system that cannot keep every file as it was (sizes of 4 GiB and
  // more, names, dates); the run asks before it starts. Empty: no question.
  std::string limitedFileSystem;
};

// The checks in order: free space (equal is enough), writable, the source; sets canSaveSlashes from
// the type (1 for "hfs" or an unknown type) and names a limited file system.
[[nodiscard]] DestinationVerdict checkDestinationFacts(const DestinationFacts& destination, std::uint64_t markedData,
                                                       const SourceIdentity& source, const StorageLookup& below);

}  // namespace nua
