// Minolta MRW size from the PRD block.
#include "filecheck/mrw_file_check.h"

namespace nua {

bool MrwFileCheck::isFile(ByteSpan header, std::uint64_t) { return headerBe32(header, 0) == 0x004D524D; }

std::uint64_t MrwFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const std::uint64_t headerLength = window.be32At(4);
  if (window.failed() || headerLength > 52428800) return 0;
  std::uint64_t position = 8;
  for (int block = 0; block < 5; ++block) {
    if (window.textAt(position + 1, "PRD")) {
      const std::uint64_t height = window.be16At(position + 16);
      const std::uint64_t width = window.be16At(position + 18);
      const std::uint8_t storage = window.byteAt(position + 26);
      if (window.failed()) return 0;
      std::uint64_t size = 0;
      if (storage == 89) {
        size = headerLength + width * height * 2 + 8;  // 'Y': 16 bits a pixel
      } else if (storage == 82) {
        size = headerLength + (width * height * 3) / 2 + 8;  // 'R': 12 bits packed
      } else {
        return 0;
      }
      return size >= 100 && size <= 157286400 ? size + 512 : 0;
    }
    position += 8 + static_cast<std::uint64_t>(window.be32At(position + 4));
    if (window.failed()) return 0;
  }
  return 0;
}

}  // namespace nua
