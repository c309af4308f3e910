// Sony ARW. The A700 group keeps its raw image in the SubIFD; the A100 names its end through the
// private data of tag 50740.
#include "filecheck/arw_file_check.h"

#include <algorithm>

namespace nua {

namespace {
constexpr std::uint64_t kArwArrayLimit = 0x6400000;
constexpr std::uint64_t kLargestPreview = 0x700000;
constexpr std::uint16_t kTagSonyPrivateData = 50740;
}  // namespace

bool ArwFileCheck::earlierMemberSelected() const { return false; }
bool ArwFileCheck::verdictFlag() const { return verdict_.sonyArwA100File || verdict_.sonyArwA700File; }

bool ArwFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  verdict_ = {};
  return TiffFamilyFileCheck::isFile(header, sector);
}

std::uint64_t ArwFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header, 0);
  if (!frame) return 0;
  const bool be = frame->bigEndian;
  std::uint64_t jpegOffset = 0;
  std::uint64_t jpegSize = 0;
  bool jpegNamed = false;
  std::uint64_t subIfdOffset = 0;
  std::uint64_t privateDataEnd = 0;
  for (const TiffIfdEntry& entry : frame->firstIfd.entries) {
    const auto value = tiffLastValue(window, entry, be, kTiffValueLimit);
    if (!value) continue;
    if (entry.tag == kTiffTagJpegOffset) {
      jpegOffset = *value;
      jpegNamed = true;
    } else if (entry.tag == kTiffTagJpegLength) {
      jpegSize = std::min<std::uint64_t>(*value, kLargestPreview);
    } else if (entry.tag == kTiffTagSubIfds) {
      subIfdOffset = *value;
    } else if (entry.tag == kTagSonyPrivateData && verdict_.sonyArwA100File) {
      privateDataEnd = static_cast<std::uint64_t>(window.u32At(*value + 148, be));
    }
  }
  if (window.failed()) return 0;
  if (jpegNamed && jpegSize > 0) reportJpeg(sector, jpegOffset, jpegSize);

  std::uint64_t end = 0;
  if (verdict_.sonyArwA700File) {
    const auto subIfd = subIfdAt(window, subIfdOffset, be, kArwArrayLimit);
    if (subIfd) end = tiffDataEnd(window, *subIfd, be, kArwArrayLimit);
  } else if (privateDataEnd != 0) {
    end = privateDataEnd + subIfdOffset;
  } else {
    end = tiffDataEnd(window, frame->firstIfd, be, kTiffValueLimit);
  }
  if (window.failed()) {
    clearRawJpeg(state_);
    return 0;
  }
  if (end <= frame->firstIfdOffset) end = frame->fallbackEnd(0);
  if (state_.rawJpg.found && jpegOffset > end) clearRawJpeg(state_);
  if (verdict_.sonyArwA700File) return rawSizeInRange(end, 0, 100, kTiffFirstIfdLimit);
  return rawSizeInRange(end, 0);
}

}  // namespace nua
