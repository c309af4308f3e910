// Panasonic and Leica raw size and embedded JPEG.
#include "filecheck/panasonic_raw_end.h"

#include "filecheck/jpg_file_check.h"

namespace nua {

namespace {
constexpr std::uint16_t kTagJpgFromRaw = 46;
constexpr std::uint64_t kJpegSectorLimit = 0x6400000;
}  // namespace

std::uint64_t jpegSize(FileWindow& window, std::uint64_t offset) {
  if (!isJpegStart(window.bytesAt(offset, 4))) return 0;
  const JpegWalk walk = walkJpeg(window, offset);
  return walk.endFound ? walk.length : 0;
}

std::uint64_t panasonicRawSize(FileWindow& window, FileCheckScanState& state, const TiffIfd& firstIfd,
                               std::uint64_t firstIfdOffset, bool bigEndian, std::uint32_t bytesInSector) {
  if (const TiffIfdEntry* jpeg = firstIfd.find(kTagJpgFromRaw)) {
    const std::uint64_t offset = jpeg->valueField;
    reportRawJpeg(state, bytesInSector, window.fileFirstSector(), offset, 0);
    state.rawJpg.found = false;
    if (state.rawJpg.sectorNumber < kJpegSectorLimit) {
      const std::uint64_t size = jpegSize(window, offset);
      if (size != 0) {
        state.rawJpg.size = size;
        state.rawJpg.found = true;
      }
    }
  }
  std::uint64_t end = tiffDataEnd(window, firstIfd, bigEndian, kTiffValueLimit);
  if (window.failed()) {
    clearRawJpeg(state);
    return 0;
  }
  if (end <= firstIfdOffset) end = firstIfdOffset + static_cast<std::uint64_t>(firstIfd.entryCount) * 12 + 6;
  return rawSizeInRange(end, 512);
}

}  // namespace nua
