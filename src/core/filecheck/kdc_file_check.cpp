// Kodak KDC.
#include "filecheck/kdc_file_check.h"

#include "filecheck/kodak_ifd_end.h"

namespace nua {

bool KdcFileCheck::earlierMemberSelected() const { return state_.sonySr2Selected || state_.arwSelected; }
bool KdcFileCheck::verdictFlag() const { return state_.kodakKdcFileFound; }

std::uint64_t KdcFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  auto end = kodakImageEnd(window, frame->firstIfd, frame->bigEndian);
  if (!end || window.failed()) return 0;
  if (*end <= frame->firstIfdOffset) *end = frame->fallbackEnd(8);
  return rawSizeInRange(*end, 512);
}

}  // namespace nua
