// Finding the drive or volume of a reopened session among the drives and volumes listed now: a drive
// by its first 5 sectors, a volume by its size and name, and the paths corrected when it moved.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/dict.h"
#include "media/rows.h"

namespace nua {

// Reads sectors 0 to 4 of the device or image at path, sectors of bytesPerSector bytes. A read that
// fails, or a source shorter than that, leaves zeros where nothing was read.
[[nodiscard]] std::vector<std::byte> readFirst5Sectors(const std::string& path, std::int32_t bytesPerSector);

// `checkDriveAvailability`: the index of the first drive whose first 5 sectors (of bytesPerSector
// bytes) equal first5Sectors, or -1 (driveNotConnected).
[[nodiscard]] int checkDriveAvailability(const std::vector<DriveRow>& driveDictArray,
                                         const std::vector<std::byte>& first5Sectors, std::int32_t bytesPerSector);

// `checkDrivePath`: whether the drive found at index has another "Path" than path. No drive found
// (index outside the list) is no difference.
[[nodiscard]] bool checkDrivePath(const std::string& path, const std::vector<DriveRow>& driveDictArray, int index);

struct VolumeAvailability {
  int foundVolumeDictArrayIndex = -1;  // -1: volumeNotConnected
  bool foundDrivePathIsDifferent = false;
};

// `checkVolumeAvailability`: the first volume whose "Size" / bytesPerSector equals sizeInSect and
// whose "Volume Name" equals volumeName; the path plays no part in the match.
[[nodiscard]] VolumeAvailability checkVolumeAvailability(const std::vector<DriveRow>& volumeDictArray,
                                                         std::uint64_t sizeInSect, const std::string& volumeName,
                                                         std::int32_t bytesPerSector, const std::string& path);

// After a drive moved from oldPath to newPath: each row path that begins with oldPath (the drive's
// device or one of its partitions) begins with newPath instead.
void replaceDrivePathInRows(std::vector<PartitionRow>& rows, const std::string& oldPath, const std::string& newPath);

}  // namespace nua
