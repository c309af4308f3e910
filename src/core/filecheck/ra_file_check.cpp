// RealAudio. Version 3 headers give their own length (u16 at 6, counted from byte 8) and the data
// length (u32 at 18); version 4 headers the data size (u32 at 12) and the header size (u32 at 18,
// counted from byte 16).
#include "filecheck/ra_file_check.h"

namespace nua {

bool RaFileCheck::isFile(ByteSpan header, std::uint64_t) {
  if (!(headerByte(header, 0) == 0x2E && headerText(header, 1, "ra") && headerByte(header, 3) == 0xFD)) return false;
  const std::uint16_t version = headerBe16(header, 4);
  return version == 3 || (version == 4 && headerText(header, 8, ".ra4"));
}

std::uint64_t RaFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  std::uint64_t size = 0;
  if (headerBe16(header, 4) == 3) {
    size = 8 + static_cast<std::uint64_t>(window.be16At(6)) + window.be32At(18);
  } else {
    size = 16 + static_cast<std::uint64_t>(window.be32At(18)) + window.be32At(12);
  }
  if (window.failed() || static_cast<double>(size) > 2136746229.76) return 0;
  if (window.textAt(size, "RaTC")) size += static_cast<std::uint64_t>(window.be32At(size + 4)) + 8;
  return window.failed() ? 0 : size;
}

}  // namespace nua
