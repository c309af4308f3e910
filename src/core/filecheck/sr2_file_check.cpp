// Sony SR2.
#include "filecheck/sr2_file_check.h"

namespace nua {

bool Sr2FileCheck::earlierMemberSelected() const { return state_.arwSelected; }
bool Sr2FileCheck::verdictFlag() const { return state_.sonySr2FileFound; }

std::uint64_t Sr2FileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header, 0);
  if (!frame) return 0;
  const TiffIfdEntry* subIfdTag = frame->firstIfd.find(kTiffTagSubIfds);
  std::uint64_t end = 0;
  if (subIfdTag != nullptr) {
    const auto offset = tiffValue(window, *subIfdTag, frame->bigEndian, 0, kTiffValueLimit);
    const auto subIfd = offset ? subIfdAt(window, *offset, frame->bigEndian) : std::nullopt;
    if (subIfd) {
      end = tiffDataEnd(window, *subIfd, frame->bigEndian, kTiffValueLimit);
      const TiffIfdEntry* jpegOffset = subIfd->find(kTiffTagJpegOffset);
      const TiffIfdEntry* jpegLength = subIfd->find(kTiffTagJpegLength);
      if (jpegOffset != nullptr && jpegLength != nullptr) {
        const auto offsetValue = tiffLastValue(window, *jpegOffset, frame->bigEndian, kTiffValueLimit);
        const auto lengthValue = tiffLastValue(window, *jpegLength, frame->bigEndian, kTiffValueLimit);
        if (offsetValue && lengthValue && *lengthValue >= 1025) reportJpeg(sector, *offsetValue, *lengthValue);
      }
    }
  }
  if (window.failed()) return 0;
  if (end <= frame->firstIfdOffset) end = frame->fallbackEnd(6);
  return rawSizeInRange(end, 512);
}

}  // namespace nua
