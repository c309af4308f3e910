// Leica raw.
#include "filecheck/leica_file_check.h"

#include "filecheck/panasonic_raw_end.h"

namespace nua {

bool LeicaFileCheck::earlierMemberSelected() const { return sonyOrPentaxGroupSelected() || state_.tiffSelected; }
bool LeicaFileCheck::verdictFlag() const { return state_.leicaFileFound; }

std::uint64_t LeicaFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  return panasonicRawSize(window, state_, frame->firstIfd, frame->firstIfdOffset, frame->bigEndian, bytesInSector());
}

}  // namespace nua
