// Bitmap test and size; both read only the header copy.
#include "filecheck/bmp_file_check.h"

namespace nua {

bool BmpFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerText(header, 0, "BM") && fits(header.size(), 6, 4) && headerLe32(header, 6) == 0;
}

std::uint64_t BmpFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t) {
  const std::uint32_t size = headerLe32(header, 2);
  return size >= kSmallestSize && size <= kLargestSize ? size : 0;
}

}  // namespace nua
