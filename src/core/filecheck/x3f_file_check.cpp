// Sigma X3F test, directory search and preview.
#include "filecheck/x3f_file_check.h"

#include "filecheck/tiff_family_file_check.h"
#include "filecheck/tiff_ifd.h"

namespace nua {

namespace {
constexpr std::uint64_t kMakeLimit = 0x6400000;
constexpr std::uint64_t kSearchLimit = 0x12FFFFF;
constexpr std::uint64_t kSectionHeaderBytes = 28;  // "SECi" and its image header, ahead of the data
constexpr std::uint64_t kJpegOffsetLimit = 0x1900000;

// The Make of a TIFF whose first IFD is at `firstIfd`, compared with "SIGMA".
bool tiffMadeBySigma(FileWindow& window, bool bigEndian, std::uint64_t firstIfd) {
  const auto ifd = readTiffIfd(window, firstIfd, bigEndian);
  if (!ifd) return false;
  const TiffIfdEntry* make = ifd->find(kTiffTagMake);
  if (make == nullptr) return false;
  const std::uint64_t text = make->count <= 4 ? make->entryOffset + 8 : make->valueField;
  return text <= kMakeLimit && window.textAt(text, "SIGMA");
}
}  // namespace

bool X3fFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  if (headerText(header, 0, "FOVb")) return true;
  const auto bigEndian = tiffIsBigEndian(header);
  if (!bigEndian) return false;
  const std::uint32_t firstIfd = *bigEndian ? headerBe32(header, 4) : headerLe32(header, 4);
  if (firstIfd < 8 || firstIfd > kTiffValueLimit) return false;
  FileWindow window = openWindow(sector);
  return tiffMadeBySigma(window, *bigEndian, firstIfd);
}

std::uint64_t X3fFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  extensionOfFile_ = ".x3f";
  FileWindow window = openWindow(sector);
  if (!headerText(header, 0, "FOVb")) {
    const auto bigEndian = tiffIsBigEndian(header);
    if (!bigEndian) return 0;
    return tiffSumWalkSize(window, *bigEndian, *bigEndian ? headerBe32(header, 4) : headerLe32(header, 4));
  }
  // The directory is the file's last structure; the search position stands one byte ahead of "SECd".
  std::uint64_t position = 4;
  for (;; ++position) {
    if (window.failed()) return 0;
    if (position > kSearchLimit) return position < 0x1300000 ? 0 : position;
    if ((position & 0xFFFF) == 0 && window.cancelled()) return 0;
    if (window.byteAt(position + 1) == 'S' && window.textAt(position + 1, "SECd")) break;
  }
  const std::uint64_t entryCount = window.le32At(position + 9);
  // The directory's end, plus the four-byte pointer to it that closes every X3F file.
  const std::uint64_t size = position + entryCount * 12 + 12 + 1 + 4;
  // The first directory entry names the preview section: a JPEG behind its header.
  if (entryCount > 0) {
    const std::uint64_t sectionOffset = window.le32At(position + 13);
    const std::uint64_t sectionLength = window.le32At(position + 17);
    const std::uint64_t jpegOffset = sectionOffset + kSectionHeaderBytes;
    const std::uint8_t marker = window.byteAt(jpegOffset + 3);
    const bool jpegStart = window.byteAt(jpegOffset) == 0xFF && window.byteAt(jpegOffset + 1) == 0xD8 &&
                           window.byteAt(jpegOffset + 2) == 0xFF && (marker == 0xDB || marker == 0xE0 || marker == 0xE1);
    if (window.textAt(sectionOffset, "SECi") && jpegStart && sectionLength > kSectionHeaderBytes &&
        jpegOffset <= kJpegOffsetLimit) {
      reportRawJpeg(state_, bytesInSector(), sector, jpegOffset, sectionLength - kSectionHeaderBytes);
    }
  }
  if (window.failed()) {
    clearRawJpeg(state_);
    return 0;
  }
  return size;
}

}  // namespace nua
