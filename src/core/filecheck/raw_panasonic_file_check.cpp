// Panasonic raw.
#include "filecheck/raw_panasonic_file_check.h"

#include "filecheck/panasonic_raw_end.h"

namespace nua {

bool RawPanasonicFileCheck::earlierMemberSelected() const { return sonyOrPentaxGroupSelected() || state_.tiffSelected; }
bool RawPanasonicFileCheck::verdictFlag() const { return state_.rawPanasonicFileFound; }

std::uint64_t RawPanasonicFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  return panasonicRawSize(window, state_, frame->firstIfd, frame->firstIfdOffset, frame->bigEndian, bytesInSector());
}

}  // namespace nua
