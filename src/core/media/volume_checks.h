// What discovery reads from a volume's own first sectors: journaled or not, the FAT type, whether a
// bare disk holds a FAT volume. Reads by path through the quiet discovery reader; a dictionary with
// "Volume Start" (a partition inside an image) is read from that sector on.
#pragma once

#include <optional>
#include <string>

#include "base/dict.h"
#include "media/drive_finder.h"

namespace nua {

// The HFS+ facts of a volume row: "Content" ("Apple_HFS", "Apple_HFSX" or "-"), "journaled" ("Yes"/"No"),
// "HFSVolumeStart" and "supportFileSystemRecovery"; nothing when the sectors cannot be read.
[[nodiscard]] std::optional<Dict> checkForJournal(const Dict& entry);
// Whether a volume row is FAT: "FAT" at byte 54 or 82 of the first sector, or an exFAT boot sector; false when
// unreadable.
[[nodiscard]] bool isVolumeFAT(const Dict& entry);
// The FAT type of a volume row: "FAT12", "FAT16", "FAT32", "exFAT" or "-".
[[nodiscard]] std::string fatFileSystemDetermination(const Dict& entry);
// Whether a drive with no partition map holds a FAT volume at sector 0.
[[nodiscard]] bool isFATWithoutPartitionMap(const Dict& drive);

// The probe over real devices and images; file system types come from the mount dictionaries'
// "File System Type", icon places from `iconRoot` ("nil" when the theme folder is missing).
class DeviceVolumeProbe : public VolumeProbe {
 public:
  explicit DeviceVolumeProbe(std::string iconRoot) : iconRoot_(std::move(iconRoot)) {}
  std::optional<Dict> checkForJournal(const Dict& entry) override { return nua::checkForJournal(entry); }
  bool isVolumeFAT(const Dict& entry) override { return nua::isVolumeFAT(entry); }
  std::string fatFileSystemDetermination(const Dict& entry) override { return nua::fatFileSystemDetermination(entry); }
  bool isFATWithoutPartitionMap(const Dict& drive) override { return nua::isFATWithoutPartitionMap(drive); }
  std::string fileSystemType(const Dict& mount) override { return mount.string("File System Type"); }
  std::string bundlePath(const std::string& bundleIdentifier) override;

 private:
  std::string iconRoot_;
};

}  // namespace nua
