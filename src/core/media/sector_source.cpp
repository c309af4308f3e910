// Sector sources over memory and over an open device file.
#include "media/sector_source.h"

#include <algorithm>
#include <cstring>
#include <utility>


namespace nua {

namespace {

// Byte length of `count` sectors, or false when it does not fit the buffer.
bool readLength(std::uint32_t bytesPerSector, std::uint32_t count, std::size_t bufferSize, std::size_t& length) {
  const std::uint64_t wanted = static_cast<std::uint64_t>(bytesPerSector) * count;
  if (wanted > bufferSize) return false;
  length = static_cast<std::size_t>(wanted);
  return true;
}

}  // namespace

MemorySectorSource::MemorySectorSource(std::vector<std::byte> bytes, std::uint32_t bytesPerSector)
    : bytes_(std::move(bytes)), bytesPerSector_(bytesPerSector == 0 ? 512 : bytesPerSector) {}

std::uint64_t MemorySectorSource::sectorCount() const {
  return (bytes_.size() + bytesPerSector_ - 1) / bytesPerSector_;
}

bool MemorySectorSource::readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) {
  std::size_t length = 0;
  if (!readLength(bytesPerSector_, count, buffer.size(), length)) return false;
  std::fill_n(buffer.begin(), length, std::byte{0});
  if (sector >= sectorCount()) return true;
  const std::size_t start = static_cast<std::size_t>(sector * bytesPerSector_);
  const std::size_t available = std::min(length, bytes_.size() - start);
  std::memcpy(buffer.data(), bytes_.data() + start, available);
  return true;
}

DeviceSectorSource::DeviceSectorSource(std::shared_ptr<const DeviceFile> file, std::uint32_t bytesPerSector)
    : file_(std::move(file)), bytesPerSector_(bytesPerSector == 0 ? 512 : bytesPerSector) {
  sectorCount_ = file_ ? file_->sizeInBytes() / bytesPerSector_ : 0;
}

DeviceSectorSource::DeviceSectorSource(std::shared_ptr<const DeviceFile> file, std::uint32_t bytesPerSector,
                                       std::uint64_t firstSector, std::uint64_t sectorCount)
    : DeviceSectorSource(std::move(file), bytesPerSector) {
  const std::uint64_t deviceSectors = sectorCount_;
  firstSector_ = std::min(firstSector, deviceSectors);
  sectorCount_ = std::min(sectorCount, deviceSectors - firstSector_);
}

bool DeviceSectorSource::readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) {
  std::size_t length = 0;
  if (!readLength(bytesPerSector_, count, buffer.size(), length)) return false;
  std::fill_n(buffer.begin(), length, std::byte{0});
  if (!file_ || sector >= sectorCount_) return true;
  // Only the sectors inside the range are read; the rest stays zero.
  const std::uint64_t inside = std::min<std::uint64_t>(count, sectorCount_ - sector);
  const auto insideBytes = static_cast<std::size_t>(inside * bytesPerSector_);
  int errorNumber = 0;
  const ReadOutcome outcome =
      file_->readAt((firstSector_ + sector) * bytesPerSector_, buffer.first(insideBytes), errorNumber);
  if (outcome == ReadOutcome::kFailed) {
    lastError_ = errorNumber;
    std::fill_n(buffer.begin(), length, std::byte{0});
    return false;
  }
  return true;
}

}  // namespace nua
