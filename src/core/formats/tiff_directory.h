// One directory (IFD) of a TIFF-structured file and its 12-byte entries, as the TIFF-family checks
// read them: entries are kept in host order, and a short held in the value field stands in its low half.
#pragma once

#include <cstdint>
#include <vector>

namespace nua::formats {

class FileBytes;

struct TiffDirectoryEntry {  // 12 bytes on disk
  std::uint16_t tag = 0;     // +0
  std::uint16_t type = 0;    // +2: 1 BYTE ... 12 DOUBLE
  std::uint32_t count = 0;   // +4
  std::uint32_t value = 0;   // +8: the value itself or the offset of the values
};

struct TiffDirectory {
  bool flaggedBad = false;
  std::uint32_t offset = 0;       // of the directory in the file
  std::uint32_t size = 0;         // 12 times the entries, plus 6
  std::uint16_t entryCount = 0;   // +0 of the directory
  std::uint32_t nextOffset = 0;   // at offset + size - 4
  std::vector<TiffDirectoryEntry> entries;
};

inline constexpr std::uint16_t kMostTiffEntries = 50;
inline constexpr std::size_t kTiffEntryBytes = 12;

// Reads the directory at `offset`. Returns false, with the directory flagged bad, when it has more
// than kMostTiffEntries entries.
[[nodiscard]] bool readTiffDirectory(FileBytes& file, std::uint32_t offset, bool bigEndian, TiffDirectory& directory);

// The directory checks of the family.
[[nodiscard]] bool checkTiffEntry(const TiffDirectoryEntry& entry);
[[nodiscard]] bool checkTiffDirectory(const TiffDirectory& directory);  // TIFF, NEF, Sony, ORF
[[nodiscard]] bool checkCr2Directory(const TiffDirectory& directory);   // only the size must be even

// The furthest byte any entry's data reaches, and the end of the last strip or tile; the directory's
// end is the larger.
[[nodiscard]] std::uint64_t tiffDirectoryEnd(FileBytes& file, const TiffDirectory& directory, bool bigEndian);

}  // namespace nua::formats
