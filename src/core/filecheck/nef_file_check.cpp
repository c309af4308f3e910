// Nikon NEF: IFD 0 is a thumbnail; its SubIFDs hold the preview JPEG and the raw image.
#include "filecheck/nef_file_check.h"

#include <algorithm>

namespace nua {

bool NefFileCheck::earlierMemberSelected() const {
  return state_.sonySr2Selected || state_.arwSelected || state_.pentaxSelected || state_.dngSelected ||
         state_.canonSelected;
}
bool NefFileCheck::verdictFlag() const { return state_.nikonNefFileFound; }

std::uint64_t NefFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  // "Larger than the JPEG known so far" means within this file: start from no JPEG.
  clearRawJpeg(state_);
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  const bool be = frame->bigEndian;
  const std::uint64_t tableAlone = frame->firstIfd.tableBytes();
  const TiffIfdEntry* subIfdTag = frame->firstIfd.find(kTiffTagSubIfds);
  if (subIfdTag == nullptr || subIfdTag->count == 0) return rawSizeInRange(tableAlone, 0);

  const bool arrayForm = subIfdTag->count > 1;
  std::uint64_t end = 0;
  for (std::uint32_t i = 0; i < subIfdTag->count && i < kTiffLargestEntryCount; ++i) {
    if (window.cancelled()) break;
    const auto offset = tiffValue(window, *subIfdTag, be, i, kTiffValueLimit);
    const auto subIfd = offset ? subIfdAt(window, *offset, be) : std::nullopt;
    if (!subIfd) continue;
    std::uint64_t jpegOffset = 0;
    std::uint64_t stripOffset = 0;
    for (const TiffIfdEntry& entry : subIfd->entries) {
      const auto value = tiffLastValue(window, entry, be, kTiffValueLimit);
      if (!value) continue;
      if (entry.tag == kTiffTagJpegOffset) jpegOffset = *value;
      if (entry.tag == kTiffTagJpegLength && (!arrayForm || *value > state_.rawJpg.size)) {
        reportJpeg(sector, jpegOffset, *value);
      }
      if (entry.tag == kTiffTagStripOffsets) stripOffset = *value;
      // One SubIFD with one strip: that strip's end is the answer as it stands.
      if (!arrayForm && entry.tag == kTiffTagStripByteCounts && entry.count == 1) {
        return window.failed() ? 0 : stripOffset + *value;
      }
    }
    end = std::max(end, tiffDataEnd(window, *subIfd, be, kTiffValueLimit));
  }
  if (window.failed()) return 0;
  if (end <= frame->firstIfdOffset) end = tableAlone;
  return rawSizeInRange(end, 512);
}

}  // namespace nua
