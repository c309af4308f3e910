// Pentax PEF: the raw data and the large preview lie along the chain of IFDs.
#include "filecheck/pef_file_check.h"

#include <algorithm>

namespace nua {

bool PefFileCheck::earlierMemberSelected() const { return state_.sonySr2Selected || state_.arwSelected; }
bool PefFileCheck::verdictFlag() const { return state_.pentaxPefFileFound; }

std::uint64_t PefFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  // "Larger than the JPEG known so far" means within this file: start from no JPEG.
  clearRawJpeg(state_);
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  const bool be = frame->bigEndian;
  std::uint64_t total = 0;
  std::uint64_t jpegOffset = 0;
  std::uint64_t ifdOffset = frame->firstIfdOffset;
  for (int index = 0; index < 6; ++index) {
    if (window.cancelled()) break;
    const auto ifd = index == 0 ? std::optional<TiffIfd>(frame->firstIfd) : readTiffIfd(window, ifdOffset, be);
    if (!ifd) break;
    total = std::max(total, tiffDataEnd(window, *ifd, be, kTiffValueLimit));
    // An IFD beyond the data so far still belongs to the file, table and all.
    if (index > 0 && total < ifdOffset) total = ifdOffset + ifd->tableBytes();
    for (const TiffIfdEntry& entry : ifd->entries) {
      if (entry.tag != kTiffTagJpegOffset && entry.tag != kTiffTagJpegLength) continue;
      const auto value = tiffLastValue(window, entry, be, kTiffValueLimit);
      if (!value) continue;
      if (entry.tag == kTiffTagJpegOffset) {
        jpegOffset = *value;
      } else if (*value > state_.rawJpg.size &&
                 sector + jpegOffset / bytesInSector() <= kTiffValueLimit) {
        reportJpeg(sector, jpegOffset, *value);
      }
    }
    const std::uint64_t next = ifd->nextIfdOffset;
    if (next < 8 || next > kTiffFirstIfdLimit) break;
    ifdOffset = next;
  }
  if (window.failed()) return 0;
  if (total <= frame->firstIfdOffset) total = frame->fallbackEnd(0);
  return rawSizeInRange(total + state_.rawJpg.size, 512);
}

}  // namespace nua
