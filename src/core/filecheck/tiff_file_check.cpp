// Plain TIFF: the family's sum walk. Canon's raw TIFFs also carry a preview JPEG, named by the JPEG
// tags of IFD 0 and measured with the JPEG walk.
#include "filecheck/tiff_file_check.h"

#include "filecheck/panasonic_raw_end.h"

namespace nua {

bool TiffFileCheck::earlierMemberSelected() const {
  return sonyOrPentaxGroupSelected() || state_.kdcSelected || state_.k25Selected || state_.kodakDcrSelected;
}

bool TiffFileCheck::verdictFlag() const { return state_.tiffFileFound; }

std::uint64_t TiffFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  bool bigEndian = state_.bigEndianFile;
  if (!state_.bigEndianFile && !state_.littleEndianFile) {
    const auto order = tiffIsBigEndian(header);
    if (!order) return 0;
    bigEndian = *order;
  }
  const std::uint32_t firstIfd = bigEndian ? headerBe32(header, 4) : headerLe32(header, 4);
  if (firstIfd < 8 || firstIfd > kTiffValueLimit) return 0;
  FileWindow window = openWindow(sector);
  if (state_.canonRawTiff) canonTiffJpgFileSize(window, bigEndian, firstIfd, sector);
  return tiffSumWalkSize(window, bigEndian, firstIfd);
}

void TiffFileCheck::canonTiffJpgFileSize(FileWindow& window, bool bigEndian, std::uint64_t firstIfd,
                                         std::uint64_t sector) {
  clearRawJpeg(state_);
  const auto ifd = readTiffIfd(window, firstIfd, bigEndian);
  if (!ifd) return;
  const TiffIfdEntry* jpegOffset = ifd->find(kTiffTagJpegOffset);
  if (jpegOffset == nullptr) return;
  const auto offset = tiffValue(window, *jpegOffset, bigEndian, 0, kTiffValueLimit);
  if (!offset) return;
  const std::uint64_t size = jpegSize(window, *offset);
  if (size != 0) reportJpeg(sector, *offset, size);
}

}  // namespace nua
