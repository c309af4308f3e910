// TIFF image file directories as the TIFF-family checks read them through the window: the header's
// byte order, one IFD's entries, an entry's values, and the end of the strips or tiles an IFD names.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/bytes.h"
#include "filecheck/file_check_scan_state.h"
#include "filecheck/file_window.h"

namespace nua {

inline constexpr std::uint16_t kTiffTagNewSubfileType = 254;
inline constexpr std::uint16_t kTiffTagStripOffsets = 273;
inline constexpr std::uint16_t kTiffTagStripByteCounts = 279;
inline constexpr std::uint16_t kTiffTagTileOffsets = 324;
inline constexpr std::uint16_t kTiffTagTileByteCounts = 325;
inline constexpr std::uint16_t kTiffTagMake = 271;
inline constexpr std::uint16_t kTiffTagModel = 272;
inline constexpr std::uint16_t kTiffTagSubIfds = 330;
inline constexpr std::uint16_t kTiffTagJpegOffset = 513;   // JPEGInterchangeFormat
inline constexpr std::uint16_t kTiffTagJpegLength = 514;   // JPEGInterchangeFormatLength
inline constexpr std::uint16_t kTiffTagExifIfd = 34665;
inline constexpr std::uint16_t kTiffTagMakerNote = 37500;
inline constexpr std::uint16_t kTiffTagDngVersion = 0xC612;
inline constexpr std::uint16_t kTiffTagDngBackwardVersion = 0xC613;

inline constexpr std::uint32_t kTiffValueLimit = 0x9600000;     // the farthest a value may point
inline constexpr std::uint32_t kTiffFirstIfdLimit = 0xC800000;  // the farthest a first IFD may lie
inline constexpr std::uint16_t kTiffLargestEntryCount = 100;

// "MM" big-endian, "II" little-endian; nothing for any other start.
[[nodiscard]] std::optional<bool> tiffIsBigEndian(ByteSpan header);

// Bytes per element of a TIFF data type; unknown types count as 8, as type 5 does.
[[nodiscard]] std::uint32_t tiffTypeSize(std::uint16_t type);

struct TiffIfdEntry {
  std::uint16_t tag = 0;
  std::uint16_t type = 0;
  std::uint32_t count = 0;
  std::uint32_t valueField = 0;   // the entry's last four bytes as a u32 in file order
  std::uint64_t entryOffset = 0;  // file offset of the entry
};

struct TiffIfd {
  std::uint64_t offset = 0;
  std::uint16_t entryCount = 0;
  std::vector<TiffIfdEntry> entries;
  std::uint32_t nextIfdOffset = 0;
  [[nodiscard]] const TiffIfdEntry* find(std::uint16_t tag) const;
  // Bytes of the table: count, entries and the next link.
  [[nodiscard]] std::uint64_t tableBytes() const { return static_cast<std::uint64_t>(entryCount) * 12 + 6; }
};

// Reads the IFD at `offset`; nothing when the entry count lies outside [minEntries, maxEntries] or a
// read failed.
[[nodiscard]] std::optional<TiffIfd> readTiffIfd(FileWindow& window, std::uint64_t offset, bool bigEndian,
                                                 std::uint16_t minEntries = 2,
                                                 std::uint16_t maxEntries = kTiffLargestEntryCount);

// Element `index` of an entry's values. Values that fit the entry's four bytes stand there, as TIFF
// stores them; longer arrays lie at the value offset, which must be at most `arrayLimit`. Nothing for
// an index past the count, a count of 65535 or more, or an array beyond the limit.
[[nodiscard]] std::optional<std::uint64_t> tiffValue(FileWindow& window, const TiffIfdEntry& entry, bool bigEndian,
                                                    std::uint32_t index, std::uint64_t arrayLimit);
// The last element, which for strip and tile tables is the one that reaches farthest.
[[nodiscard]] std::optional<std::uint64_t> tiffLastValue(FileWindow& window, const TiffIfdEntry& entry,
                                                        bool bigEndian, std::uint64_t arrayLimit);

// The end of an IFD's image data: the last offset plus the last length, from strip tags and, when
// `tilesToo`, the tile tags (and 513/514 with `jpegTagsToo`). 0 when the IFD names none.
[[nodiscard]] std::uint64_t tiffDataEnd(FileWindow& window, const TiffIfd& ifd, bool bigEndian,
                                        std::uint64_t arrayLimit, bool tilesToo = false, bool jpegTagsToo = false);

// Records the JPEG inside a RAW file at `jpegOffset` bytes into a file that starts at `fileFirstSector`.
void reportRawJpeg(FileCheckScanState& state, std::uint32_t bytesInSector, std::uint64_t fileFirstSector,
                   std::uint64_t jpegOffset, std::uint64_t jpegSize);
void clearRawJpeg(FileCheckScanState& state);

// The result of a camera RAW walk: outside [lowest, highest] it is 0, inside it gains the margin.
[[nodiscard]] inline std::uint64_t rawSizeInRange(std::uint64_t size, std::uint64_t margin,
                                                  std::uint64_t lowest = 100, std::uint64_t highest = 209715200) {
  return size >= lowest && size <= highest ? size + margin : 0;
}

}  // namespace nua
