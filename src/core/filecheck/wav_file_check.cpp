// WAVE test and size from the RIFF header; no device read.
#include "filecheck/wav_file_check.h"

namespace nua {

bool WavFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerText(header, 0, "RIFF") && headerText(header, 8, "WAVE");
}

std::uint64_t WavFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t) {
  const std::uint32_t length = headerLe32(header, 4);
  return length < 4096 ? 0 : static_cast<std::uint64_t>(length) + 8;
}

}  // namespace nua
