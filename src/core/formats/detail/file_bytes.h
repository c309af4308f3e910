// Bytes of a supposed file by their position from its first sector, read through a window of whole
// sectors that moves only when a position leaves it. A field that straddles the window's end is read
// whole from the next window, and every byte past the source's end is zero.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/bytes.h"
#include "media/sector_source.h"

namespace nua::formats {

class FileBytes {
 public:
  // `firstSector` is absolute on the source; `windowSectors` is how much one read takes.
  FileBytes(SectorSource& source, std::uint64_t firstSector, std::uint32_t windowSectors);

  [[nodiscard]] std::uint32_t bytesPerSector() const { return bytesPerSector_; }
  [[nodiscard]] std::uint64_t firstSector() const { return firstSector_; }
  // True when the position's sector lies at or past the source's end (every byte there is zero).
  [[nodiscard]] bool pastSourceEnd(std::uint64_t position) const;

  // `length` bytes at `position`, valid until the next call.
  [[nodiscard]] ByteSpan at(std::uint64_t position, std::size_t length);
  [[nodiscard]] std::uint8_t byteAt(std::uint64_t position) { return u8(at(position, 1), 0); }
  [[nodiscard]] std::uint16_t be16At(std::uint64_t position) { return be16(at(position, 2), 0); }
  [[nodiscard]] std::uint32_t be32At(std::uint64_t position) { return be32(at(position, 4), 0); }
  [[nodiscard]] std::uint64_t be64At(std::uint64_t position) { return be64(at(position, 8), 0); }
  [[nodiscard]] std::uint16_t le16At(std::uint64_t position) { return le16(at(position, 2), 0); }
  [[nodiscard]] std::uint32_t le32At(std::uint64_t position) { return le32(at(position, 4), 0); }
  [[nodiscard]] std::uint32_t u32At(std::uint64_t position, bool bigEndian) {
    return bigEndian ? be32At(position) : le32At(position);
  }
  [[nodiscard]] std::uint16_t u16At(std::uint64_t position, bool bigEndian) {
    return bigEndian ? be16At(position) : le16At(position);
  }
  // True when the bytes at `position` equal `text` (ASCII, no terminator compared).
  [[nodiscard]] bool textAt(std::uint64_t position, const char* text);

 private:
  void load(std::uint64_t relativeSector);

  SectorSource& source_;
  std::uint64_t firstSector_;
  std::uint32_t bytesPerSector_;
  std::uint32_t windowSectors_;
  std::uint64_t windowStart_ = 0;  // file-relative sector of the window's first byte
  bool loaded_ = false;
  std::vector<std::byte> window_;
};

}  // namespace nua::formats
