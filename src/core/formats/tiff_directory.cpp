// Reading and sizing one TIFF directory.
#include "formats/tiff_directory.h"

#include <algorithm>

#include "formats/detail/file_bytes.h"

namespace nua::formats {

namespace {

constexpr std::uint16_t kStripOffsets = 273;
constexpr std::uint16_t kStripByteCounts = 279;
constexpr std::uint16_t kTileOffsets = 324;
constexpr std::uint16_t kTileByteCounts = 325;
constexpr std::uint16_t kTypeShort = 3;
constexpr std::uint16_t kTypeLong = 4;

bool isEven(std::uint64_t v) { return v % 2 == 0; }

// The value of a strip or tile tag that names the last strip: a lone value, the high half of two
// shorts, or the last element of an array elsewhere in the file.
std::uint64_t lastStripValue(FileBytes& file, const TiffDirectoryEntry& e, bool bigEndian) {
  if (e.type == kTypeShort && e.count == 1) return e.value;
  if (e.type == kTypeShort && e.count == 2) return e.value / 65536;
  if (e.type == kTypeLong && e.count == 1) return e.value;
  if (e.type == kTypeShort && e.count >= 3) return file.u16At(std::uint64_t{e.value} + std::uint64_t{e.count} * 2 - 2, bigEndian);
  if (e.type == kTypeLong && e.count >= 2) return file.u32At(std::uint64_t{e.value} + std::uint64_t{e.count} * 4 - 4, bigEndian);
  return 0;
}

// Bytes per element for the types whose values lie outside the entry when there are enough of them;
// 0 when this count still fits inside.
std::uint64_t outsideElementBytes(const TiffDirectoryEntry& e) {
  switch (e.type) {
    case 1: case 2: case 6: case 7: return e.count >= 5 ? 1 : 0;
    case 3: case 8: return e.count >= 3 ? 2 : 0;
    case 4: case 9: case 11: return e.count >= 2 ? 4 : 0;
    case 5: case 10: case 12: return 8;
    default: return 0;
  }
}

}  // namespace

bool readTiffDirectory(FileBytes& file, std::uint32_t offset, bool bigEndian, TiffDirectory& directory) {
  directory = TiffDirectory{};
  directory.offset = offset;
  directory.entryCount = file.u16At(offset, bigEndian);
  if (directory.entryCount > kMostTiffEntries) {
    directory.flaggedBad = true;
    return false;
  }
  directory.size = directory.entryCount * 12u + 6u;
  directory.nextOffset = file.u32At(std::uint64_t{offset} + directory.size - 4, bigEndian);
  directory.entries.reserve(directory.entryCount);
  for (std::uint32_t i = 0; i < directory.entryCount; ++i) {
    const std::uint64_t at = std::uint64_t{offset} + 2 + i * kTiffEntryBytes;
    TiffDirectoryEntry e;
    e.tag = file.u16At(at, bigEndian);
    e.type = file.u16At(at + 2, bigEndian);
    e.count = file.u32At(at + 4, bigEndian);
    e.value = file.u32At(at + 8, bigEndian);
    // A big-endian short sits in the high half of the field: swap the halves so that the first short
    // is the low half on both byte orders.
    if (bigEndian && e.type == kTypeShort && e.count < 3) e.value = (e.value % 65536) * 65536 + e.value / 65536;
    directory.entries.push_back(e);
  }
  return true;
}

bool checkTiffEntry(const TiffDirectoryEntry& e) {
  if (e.count == 0 || e.type < 1 || e.type > 12) return false;
  if ((e.type == 3 || e.type == 8) && e.count >= 3 && !isEven(e.value)) return false;
  if ((e.type == 4 || e.type == 9) && e.count >= 2 && !isEven(e.value)) return false;
  return true;
}

bool checkTiffDirectory(const TiffDirectory& d) {
  if (!isEven(d.offset) || !isEven(d.size) || !isEven(d.nextOffset)) return false;
  return std::all_of(d.entries.begin(), d.entries.end(), checkTiffEntry);
}

bool checkCr2Directory(const TiffDirectory& d) {
  if (!isEven(d.size)) return false;
  return std::all_of(d.entries.begin(), d.entries.end(), checkTiffEntry);
}

std::uint64_t tiffDirectoryEnd(FileBytes& file, const TiffDirectory& directory, bool bigEndian) {
  std::uint64_t tagEnd = 0;
  std::uint64_t stripOffset = 0;
  std::uint64_t stripLength = 0;
  for (const auto& e : directory.entries) {
    const std::uint64_t element = outsideElementBytes(e);
    if (element != 0 && e.value >= tagEnd) tagEnd = std::uint64_t{e.value} + std::uint64_t{e.count} * element;
    if (e.tag == kStripOffsets || e.tag == kTileOffsets) stripOffset = lastStripValue(file, e, bigEndian);
    if (e.tag == kStripByteCounts || e.tag == kTileByteCounts) stripLength = lastStripValue(file, e, bigEndian);
  }
  return std::max(tagEnd, stripOffset + stripLength);
}

}  // namespace nua::formats
