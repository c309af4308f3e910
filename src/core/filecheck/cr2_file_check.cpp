// Canon CR2: IFD 0 names the full-size preview JPEG; the last IFD of the chain, the raw data, ends
// the file.
#include "filecheck/cr2_file_check.h"

namespace nua {

bool Cr2FileCheck::earlierMemberSelected() const {
  return state_.sonySr2Selected || state_.arwSelected || state_.pentaxSelected || state_.dngSelected;
}
bool Cr2FileCheck::verdictFlag() const { return state_.canonCr2FileFound; }

std::uint64_t Cr2FileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  const auto fail = [&]() -> std::uint64_t {
    clearRawJpeg(state_);
    return 0;
  };
  if (!frame) return fail();
  const bool be = frame->bigEndian;
  const TiffIfdEntry* jpegOffset = frame->firstIfd.find(kTiffTagStripOffsets);
  const TiffIfdEntry* jpegLength = frame->firstIfd.find(kTiffTagStripByteCounts);
  if (jpegOffset != nullptr && jpegLength != nullptr) {
    const auto offset = tiffValue(window, *jpegOffset, be, 0, kTiffValueLimit);
    const auto length = tiffValue(window, *jpegLength, be, 0, kTiffValueLimit);
    if (offset && length) reportJpeg(sector, *offset, *length);
  }
  TiffIfd last = frame->firstIfd;
  for (int index = 1; index < 25 && last.nextIfdOffset != 0; ++index) {
    if (window.cancelled()) return fail();
    auto next = readTiffIfd(window, last.nextIfdOffset, be);
    if (!next) return fail();
    last = std::move(*next);
  }
  if (last.nextIfdOffset != 0) return fail();
  const std::uint64_t end = tiffDataEnd(window, last, be, kTiffValueLimit);
  if (window.failed()) return fail();
  return rawSizeInRange(end, 0);
}

}  // namespace nua
