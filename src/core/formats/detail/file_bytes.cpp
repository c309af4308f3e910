// Windowed reads of a supposed file's bytes by position.
#include "formats/detail/file_bytes.h"

#include <algorithm>
#include <cstring>

namespace nua::formats {

FileBytes::FileBytes(SectorSource& source, std::uint64_t firstSector, std::uint32_t windowSectors)
    : source_(source),
      firstSector_(firstSector),
      bytesPerSector_(source.bytesPerSector() == 0 ? 512 : source.bytesPerSector()),
      windowSectors_(std::max<std::uint32_t>(windowSectors, 2)),
      window_(static_cast<std::size_t>(bytesPerSector_) * windowSectors_) {}

bool FileBytes::pastSourceEnd(std::uint64_t position) const {
  const std::uint64_t sector = position / bytesPerSector_;
  const std::uint64_t end = source_.sectorCount();
  return firstSector_ >= end || sector >= end - firstSector_;
}

void FileBytes::load(std::uint64_t relativeSector) {
  windowStart_ = relativeSector;
  loaded_ = true;
  const std::uint64_t end = source_.sectorCount();
  if (firstSector_ >= end || relativeSector >= end - firstSector_) {
    std::fill(window_.begin(), window_.end(), std::byte{0});  // nothing of the source lies here
    return;
  }
  // A failed read leaves zeros, which the checks then reject like any other unlikely bytes.
  if (!source_.readSectors(firstSector_ + relativeSector, windowSectors_, window_)) {
    std::fill(window_.begin(), window_.end(), std::byte{0});
  }
}

ByteSpan FileBytes::at(std::uint64_t position, std::size_t length) {
  // A field longer than the window (plus the sector it may start into) widens the window for good.
  if (length > window_.size() - bytesPerSector_) {
    windowSectors_ = static_cast<std::uint32_t>((length + bytesPerSector_ - 1) / bytesPerSector_ + 1);
    window_.assign(static_cast<std::size_t>(windowSectors_) * bytesPerSector_, std::byte{0});
    loaded_ = false;
  }
  const std::uint64_t windowBytes = window_.size();
  const std::uint64_t startByte = windowStart_ * bytesPerSector_;
  const bool inside = loaded_ && position >= startByte && position - startByte <= windowBytes - length;
  if (!inside) load(position / bytesPerSector_);
  const std::size_t offset = static_cast<std::size_t>(position - windowStart_ * bytesPerSector_);
  return ByteSpan(window_).subspan(offset, length);
}

bool FileBytes::textAt(std::uint64_t position, const char* text) {
  const std::size_t length = std::strlen(text);
  const ByteSpan bytes = at(position, length);
  for (std::size_t i = 0; i < length; ++i) {
    if (static_cast<char>(bytes[i]) != text[i]) return false;
  }
  return true;
}

}  // namespace nua::formats
