#include "media/read_volume.h"

#include "base/text.h"

#include <cerrno>
#include "media/device_file.h"

namespace nua {
namespace {
// 0 on success, else the error number of the failed open or read.
int readOnce(std::uint64_t sector, std::uint32_t size, std::uint32_t bytesPerSector, std::span<std::byte> buffer,
             const std::string& volumePath) {
  const std::uint64_t byteCount = static_cast<std::uint64_t>(size) * bytesPerSector;
  if (byteCount > buffer.size() || bytesPerSector == 0 || sector > UINT64_MAX / bytesPerSector) return EINVAL;
  int errorNumber = 0;
  auto file = DeviceFile::open(volumePath, errorNumber);
  if (!file) return errorNumber;
  if (file->readAt(sector * bytesPerSector, buffer.first(byteCount), errorNumber) == ReadOutcome::kFailed)
    return errorNumber;
  return 0;
}
}  // namespace

bool ReadVolume::readSaveSector(std::uint64_t sector, std::uint32_t size, std::uint32_t bytesPerSector,
                                std::span<std::byte> buffer, const std::string& volumePath, UiBridge* ui) {
  const int errorNumber = readOnce(sector, size, bytesPerSector, buffer, volumePath);
  if (errorNumber == 0) return true;
  if (ui)
    ui->runAlertPanel({"!Error", formatText("Drive cannot open or not found, error: %@", {std::to_string(errorNumber)}),
                       {"OK"}});
  return false;
}

bool readSaveSectorQuietly(std::uint64_t sector, std::uint32_t size, std::uint32_t bytesPerSector,
                           std::span<std::byte> buffer, const std::string& volumePath) {
  return readOnce(sector, size, bytesPerSector, buffer, volumePath) == 0;
}

}  // namespace nua
