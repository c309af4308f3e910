// Kodak DCR.
#include "filecheck/dcr_file_check.h"

#include <algorithm>

namespace nua {

namespace {
constexpr std::uint16_t kTagKodakTally = 65001;
constexpr std::uint64_t kLargestTally = 307200;
}  // namespace

bool DcrFileCheck::earlierMemberSelected() const {
  return state_.sonySr2Selected || state_.arwSelected || state_.kdcSelected || state_.k25Selected;
}
bool DcrFileCheck::verdictFlag() const { return state_.kodakDcrFileFound; }

std::uint64_t DcrFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  const TiffIfdEntry* subIfdTag = frame->firstIfd.find(kTiffTagSubIfds);
  if (subIfdTag == nullptr || subIfdTag->count < 1 || subIfdTag->count > 10) return 0;
  std::uint64_t end = 0;
  for (std::uint32_t i = 0; i < subIfdTag->count; ++i) {
    const auto offset = tiffValue(window, *subIfdTag, frame->bigEndian, i, kTiffFirstIfdLimit);
    if (!offset) continue;
    const auto subIfd = subIfdAt(window, *offset, frame->bigEndian, kTiffFirstIfdLimit);
    if (subIfd) end = std::max(end, tiffDataEnd(window, *subIfd, frame->bigEndian, kTiffValueLimit));
  }
  std::uint64_t tally = 0;
  if (const TiffIfdEntry* kodak = frame->firstIfd.find(kTagKodakTally)) {
    tally = std::min<std::uint64_t>(static_cast<std::uint64_t>(kodak->count) * 4, kLargestTally);
  }
  if (window.failed()) return 0;
  return rawSizeInRange(end + tally, 512);
}

}  // namespace nua
