// AVI test and size from the RIFF header; no device read.
#include "filecheck/avi_file_check.h"

namespace nua {

bool AviFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerText(header, 0, "RIFF") && headerText(header, 8, "AVI ") && headerText(header, 12, "LIST");
}

std::uint64_t AviFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t) {
  const std::uint32_t length = headerLe32(header, 4);
  return length < 10240 ? 0 : static_cast<std::uint64_t>(length) + 8;
}

}  // namespace nua
