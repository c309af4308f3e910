#include "session/device_refind.h"

#include <algorithm>

#include "media/read_volume.h"
#include "session/session_file.h"

namespace nua {

std::vector<std::byte> readFirst5Sectors(const std::string& path, std::int32_t bytesPerSector) {
  const auto sectorBytes = static_cast<std::uint32_t>(std::max<std::int32_t>(bytesPerSector, 1));
  std::vector<std::byte> buffer(std::size_t{sectorBytes} * kSessionFirstSectorCount, std::byte{0});
  if (!path.empty()) (void)readSaveSectorQuietly(0, kSessionFirstSectorCount, sectorBytes, buffer, path);
  return buffer;
}

int checkDriveAvailability(const std::vector<DriveRow>& driveDictArray, const std::vector<std::byte>& first5Sectors,
                           std::int32_t bytesPerSector) {
  if (first5Sectors.empty()) return -1;
  for (std::size_t i = 0; i < driveDictArray.size(); ++i) {
    const std::vector<std::byte> head = readFirst5Sectors(driveDictArray[i].path, bytesPerSector);
    if (head == first5Sectors) return static_cast<int>(i);
  }
  return -1;
}

bool checkDrivePath(const std::string& path, const std::vector<DriveRow>& driveDictArray, int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= driveDictArray.size()) return false;
  return driveDictArray[static_cast<std::size_t>(index)].path != path;
}

VolumeAvailability checkVolumeAvailability(const std::vector<DriveRow>& volumeDictArray, std::uint64_t sizeInSect,
                                           const std::string& volumeName, std::int32_t bytesPerSector,
                                           const std::string& path) {
  VolumeAvailability found;
  const auto sectorBytes = static_cast<std::uint64_t>(std::max<std::int32_t>(bytesPerSector, 1));
  for (std::size_t i = 0; i < volumeDictArray.size(); ++i) {
    const DriveRow& volume = volumeDictArray[i];
    if (volume.sizeBytes.value_or(0) / sectorBytes != sizeInSect || volume.volumeName != volumeName) continue;
    found.foundVolumeDictArrayIndex = static_cast<int>(i);
    found.foundDrivePathIsDifferent = volume.path != path;
    break;
  }
  return found;
}

void replaceDrivePathInRows(std::vector<PartitionRow>& rows, const std::string& oldPath, const std::string& newPath) {
  if (oldPath.empty()) return;
  for (PartitionRow& row : rows) {
    if (row.path.compare(0, oldPath.size(), oldPath) == 0) row.path = newPath + row.path.substr(oldPath.size());
  }
}

}  // namespace nua
