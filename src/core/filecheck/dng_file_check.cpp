// DNG: raw image and previews in the SubIFDs of IFD 0; a JPEG preview is a reduced-resolution
// SubIFD whose data begins as a JPEG does.
#include "filecheck/dng_file_check.h"

#include <algorithm>

#include "filecheck/jpg_file_check.h"

namespace nua {

namespace {
constexpr std::uint16_t kTagXmp = 700;
}  // namespace

bool DngFileCheck::earlierMemberSelected() const {
  return state_.sonySr2Selected || state_.arwSelected || state_.pentaxSelected;
}
bool DngFileCheck::verdictFlag() const { return state_.pentaxDngFileFound; }

std::uint64_t DngFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  // "Larger than the JPEG known so far" means within this file: start from no JPEG.
  clearRawJpeg(state_);
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  const bool be = frame->bigEndian;
  std::uint64_t extra = 0;
  if (const TiffIfdEntry* xmp = frame->firstIfd.find(kTagXmp)) extra = static_cast<std::uint64_t>(xmp->count) * 4;

  // Looks at one IFD: its data end, and whether it is a JPEG preview larger than the one known.
  std::uint64_t end = 0;
  const auto lookAt = [&](const TiffIfd& ifd) {
    const std::uint64_t dataEnd = tiffDataEnd(window, ifd, be, kTiffValueLimit, true);
    end = std::max(end, dataEnd);
    const TiffIfdEntry* subfile = ifd.find(kTiffTagNewSubfileType);
    const TiffIfdEntry* offsets = ifd.find(kTiffTagStripOffsets);
    const TiffIfdEntry* counts = ifd.find(kTiffTagStripByteCounts);
    if (subfile == nullptr || offsets == nullptr || counts == nullptr || offsets->count != 1) return;
    const auto reduced = tiffValue(window, *subfile, be, 0, kTiffValueLimit);
    const auto offset = tiffValue(window, *offsets, be, 0, kTiffValueLimit);
    const auto length = tiffValue(window, *counts, be, 0, kTiffValueLimit);
    if (!reduced || *reduced != 1 || !offset || !length || *length <= state_.rawJpg.size) return;
    if (sector + *offset / bytesInSector() > kTiffValueLimit) return;
    if (!isJpegStart(window.bytesAt(*offset, 4))) return;
    reportJpeg(sector, *offset, *length);
  };
  lookAt(frame->firstIfd);
  const TiffIfdEntry* subIfdTag = frame->firstIfd.find(kTiffTagSubIfds);
  if (subIfdTag != nullptr) {
    if (subIfdTag->count < 1 || subIfdTag->count > 10) return 0;
    for (std::uint32_t i = 0; i < subIfdTag->count; ++i) {
      const auto offset = tiffValue(window, *subIfdTag, be, i, kTiffFirstIfdLimit);
      const auto subIfd = offset ? subIfdAt(window, *offset, be, kTiffFirstIfdLimit) : std::nullopt;
      if (subIfd) lookAt(*subIfd);
    }
  }
  if (window.failed()) {
    clearRawJpeg(state_);
    return 0;
  }
  if (end <= frame->firstIfdOffset) end = frame->fallbackEnd(6);
  return rawSizeInRange(end + extra + state_.rawJpg.size, 512);
}

}  // namespace nua
