// Fujifilm RAF size and preview.
#include "filecheck/raf_file_check.h"

#include "filecheck/tiff_ifd.h"

namespace nua {

bool RafFileCheck::isFile(ByteSpan header, std::uint64_t) { return headerText(header, 0, "FUJIFILMCCD-RAW"); }

std::uint64_t RafFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const std::uint64_t rawOffset = window.be32At(100);
  const std::uint64_t rawLength = window.be32At(104);
  const std::uint32_t repeat = window.be32At(132);
  const std::uint32_t jpegOffset = window.be32At(84);
  const std::uint32_t jpegLength = window.be32At(88);
  if (window.failed() || rawOffset > 0xC800000) return 0;
  std::uint64_t size = rawOffset + rawLength;
  if (repeat == rawLength) size += rawLength;
  reportRawJpeg(state_, bytesInSector(), sector, jpegOffset, jpegLength);
  state_.rawJpg.found = jpegLength > 1024;
  return size >= 100 && size <= 209715200 ? size + 512 : 0;
}

}  // namespace nua
