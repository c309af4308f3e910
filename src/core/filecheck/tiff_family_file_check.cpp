// The TIFF family's shared frame and the plain TIFF sum walk.
#include "filecheck/tiff_family_file_check.h"

namespace nua {

bool TiffFamilyFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  if (!earlierMemberSelected()) verdict_ = runTiffMakerTest(source_, state_, header, sector);
  return verdictFlag();
}

std::optional<TiffFamilyFileCheck::RawFrame> TiffFamilyFileCheck::openRawFrame(FileWindow& window, ByteSpan header,
                                                                              std::uint16_t minEntries,
                                                                              std::uint16_t maxEntries) {
  if (!state_.bigEndianFile && !state_.littleEndianFile) return std::nullopt;
  RawFrame frame;
  frame.bigEndian = state_.bigEndianFile;
  frame.firstIfdOffset = frame.bigEndian ? headerBe32(header, 4) : headerLe32(header, 4);
  if (frame.firstIfdOffset < 8 || frame.firstIfdOffset > kTiffFirstIfdLimit) return std::nullopt;
  auto ifd = readTiffIfd(window, frame.firstIfdOffset, frame.bigEndian, minEntries, maxEntries);
  if (!ifd) return std::nullopt;
  frame.firstIfd = std::move(*ifd);
  return frame;
}

std::optional<TiffIfd> TiffFamilyFileCheck::subIfdAt(FileWindow& window, std::uint64_t offset, bool bigEndian,
                                                     std::uint64_t limit, std::uint16_t maxEntries) {
  if (offset < 8 || offset > limit) return std::nullopt;
  return readTiffIfd(window, offset, bigEndian, 2, maxEntries);
}

std::uint64_t tiffSumWalkSize(FileWindow& window, bool bigEndian, std::uint64_t firstIfdOffset) {
  constexpr std::uint64_t kSumLimit = 0x9600000;
  std::uint64_t total = 0;
  std::uint64_t ifdOffset = firstIfdOffset;
  for (int ifdIndex = 0; ifdIndex < 24 && ifdOffset != 0; ++ifdIndex) {
    if (window.cancelled()) break;
    const auto ifd = readTiffIfd(window, ifdOffset, bigEndian);
    if (!ifd) break;
    total += ifd->tableBytes();
    for (const TiffIfdEntry& entry : ifd->entries) {
      const std::uint64_t valueBytes = static_cast<std::uint64_t>(entry.count) * tiffTypeSize(entry.type);
      if (valueBytes >= 5) total += valueBytes;
      if (entry.tag == kTiffTagStripByteCounts || entry.tag == kTiffTagTileByteCounts) {
        // Every strip or tile counts; the array may run across windows.
        for (std::uint32_t i = 0; i < entry.count && total <= kSumLimit; ++i) {
          const auto count = tiffValue(window, entry, bigEndian, i, kSumLimit);
          if (!count) break;
          total += *count;
          if ((i & 0xFFF) == 0 && window.cancelled()) break;
        }
      }
      if (total > kSumLimit) return 0;
    }
    if (ifd->nextIfdOffset > kSumLimit) break;
    ifdOffset = ifd->nextIfdOffset;
  }
  if (window.failed()) return 0;
  if (total < 100 || total > kTiffFirstIfdLimit) return 0;
  return total + 512;
}

}  // namespace nua
