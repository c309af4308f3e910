// Hasselblad 3FR.
#include "filecheck/threefr_file_check.h"

namespace nua {

bool ThreefrFileCheck::earlierMemberSelected() const { return sonyOrPentaxGroupSelected() || state_.tiffSelected; }
bool ThreefrFileCheck::verdictFlag() const { return state_.threefrFileFound; }

std::uint64_t ThreefrFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  std::uint64_t end = 0;
  if (const TiffIfdEntry* subIfdTag = frame->firstIfd.find(kTiffTagSubIfds)) {
    const auto offset = tiffValue(window, *subIfdTag, frame->bigEndian, 0, kTiffValueLimit);
    const auto subIfd = offset ? subIfdAt(window, *offset, frame->bigEndian) : std::nullopt;
    if (subIfd) end = tiffDataEnd(window, *subIfd, frame->bigEndian, kTiffValueLimit);
  }
  if (window.failed()) return 0;
  if (end <= frame->firstIfdOffset) end = frame->fallbackEnd(8);
  // Taking 10 MiB off a result of 30 MiB or more would cut the saved file short of its raw data, so the
  // measured end stands.
  return rawSizeInRange(end, 0);
}

}  // namespace nua
