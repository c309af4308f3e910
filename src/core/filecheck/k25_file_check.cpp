// Kodak K25.
#include "filecheck/k25_file_check.h"

#include "filecheck/kodak_ifd_end.h"

namespace nua {

bool K25FileCheck::earlierMemberSelected() const { return state_.sonySr2Selected || state_.arwSelected || state_.kdcSelected; }
bool K25FileCheck::verdictFlag() const { return state_.kodakK25FileFound; }

std::uint64_t K25FileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  auto end = kodakImageEnd(window, frame->firstIfd, frame->bigEndian);
  if (!end || window.failed()) return 0;
  if (*end <= frame->firstIfdOffset) *end = frame->fallbackEnd(8);
  return rawSizeInRange(*end, 0);
}

}  // namespace nua
