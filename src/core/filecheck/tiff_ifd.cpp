// Reading TIFF directories through the file check window.
#include "filecheck/tiff_ifd.h"

#include <algorithm>

namespace nua {

std::optional<bool> tiffIsBigEndian(ByteSpan header) {
  if (!fits(header.size(), 0, 2)) return std::nullopt;
  const std::uint16_t order = be16(header, 0);
  if (order == 19789) return true;   // "MM"
  if (order == 18761) return false;  // "II"
  return std::nullopt;
}

std::uint32_t tiffTypeSize(std::uint16_t type) {
  switch (type) {
    case 1: case 2: case 6: case 7: return 1;
    case 3: case 8: return 2;
    case 4: case 9: case 11: return 4;
    default: return 8;  // 5, 10, 12 and unknown types
  }
}

const TiffIfdEntry* TiffIfd::find(std::uint16_t tag) const {
  const auto it = std::find_if(entries.begin(), entries.end(), [tag](const TiffIfdEntry& e) { return e.tag == tag; });
  return it == entries.end() ? nullptr : &*it;
}

std::optional<TiffIfd> readTiffIfd(FileWindow& window, std::uint64_t offset, bool bigEndian, std::uint16_t minEntries,
                                   std::uint16_t maxEntries) {
  TiffIfd ifd;
  ifd.offset = offset;
  ifd.entryCount = window.u16At(offset, bigEndian);
  if (window.failed() || ifd.entryCount < minEntries || ifd.entryCount > maxEntries) return std::nullopt;
  ifd.entries.reserve(ifd.entryCount);
  for (std::uint16_t i = 0; i < ifd.entryCount; ++i) {
    TiffIfdEntry entry;
    entry.entryOffset = offset + 2 + static_cast<std::uint64_t>(i) * 12;
    entry.tag = window.u16At(entry.entryOffset, bigEndian);
    entry.type = window.u16At(entry.entryOffset + 2, bigEndian);
    entry.count = window.u32At(entry.entryOffset + 4, bigEndian);
    entry.valueField = window.u32At(entry.entryOffset + 8, bigEndian);
    ifd.entries.push_back(entry);
  }
  ifd.nextIfdOffset = window.u32At(offset + 2 + static_cast<std::uint64_t>(ifd.entryCount) * 12, bigEndian);
  if (window.failed()) return std::nullopt;
  return ifd;
}

std::optional<std::uint64_t> tiffValue(FileWindow& window, const TiffIfdEntry& entry, bool bigEndian,
                                       std::uint32_t index, std::uint64_t arrayLimit) {
  if (index >= entry.count || entry.count >= 65535) return std::nullopt;
  const std::uint32_t size = tiffTypeSize(entry.type);
  const std::uint64_t bytes = static_cast<std::uint64_t>(entry.count) * size;
  std::uint64_t at = 0;
  if (bytes <= 4) {
    at = entry.entryOffset + 8 + static_cast<std::uint64_t>(index) * size;
  } else {
    if (entry.valueField > arrayLimit) return std::nullopt;
    at = entry.valueField + static_cast<std::uint64_t>(index) * size;
  }
  std::uint64_t value = 0;
  switch (size) {
    case 1: value = window.byteAt(at); break;
    case 2: value = window.u16At(at, bigEndian); break;
    default: value = window.u32At(at, bigEndian); break;  // of an 8-byte rational, the numerator
  }
  if (window.failed()) return std::nullopt;
  return value;
}

std::optional<std::uint64_t> tiffLastValue(FileWindow& window, const TiffIfdEntry& entry, bool bigEndian,
                                           std::uint64_t arrayLimit) {
  if (entry.count == 0) return std::nullopt;
  return tiffValue(window, entry, bigEndian, entry.count - 1, arrayLimit);
}

std::uint64_t tiffDataEnd(FileWindow& window, const TiffIfd& ifd, bool bigEndian, std::uint64_t arrayLimit,
                          bool tilesToo, bool jpegTagsToo) {
  std::uint64_t dataOffset = 0;
  std::uint64_t end = 0;
  for (const TiffIfdEntry& entry : ifd.entries) {
    const bool offsetTag = entry.tag == kTiffTagStripOffsets || (tilesToo && entry.tag == kTiffTagTileOffsets) ||
                           (jpegTagsToo && entry.tag == kTiffTagJpegOffset);
    const bool lengthTag = entry.tag == kTiffTagStripByteCounts || (tilesToo && entry.tag == kTiffTagTileByteCounts) ||
                           (jpegTagsToo && entry.tag == kTiffTagJpegLength);
    if (!offsetTag && !lengthTag) continue;
    const auto value = tiffLastValue(window, entry, bigEndian, arrayLimit);
    if (!value) continue;
    if (offsetTag) dataOffset = *value;
    if (lengthTag) end = std::max(end, dataOffset + *value);
  }
  return end;
}

void reportRawJpeg(FileCheckScanState& state, std::uint32_t bytesInSector, std::uint64_t fileFirstSector,
                   std::uint64_t jpegOffset, std::uint64_t jpegSize) {
  const std::uint32_t bps = bytesInSector == 0 ? 512 : bytesInSector;
  state.rawJpg.sectorNumber = fileFirstSector + jpegOffset / bps;
  state.rawJpg.extraBytesOfOffset = static_cast<std::uint32_t>(jpegOffset % bps);
  state.rawJpg.size = jpegSize;
  state.rawJpg.found = true;
}

void clearRawJpeg(FileCheckScanState& state) { state.rawJpg = RawJpgReport{}; }

}  // namespace nua
