// GIF: the blocks are walked from the end of the logical screen to the trailer. The check always
// stands; a file without a trailer ends at the last byte the walk understood.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {

constexpr std::uint8_t kImageDescriptor = 0x2C;
constexpr std::uint8_t kExtension = 0x21;
constexpr std::uint8_t kTrailer = 0x3B;

// Bytes of a colour table whose flag and size are in the packed byte.
std::uint64_t colourTableBytes(std::uint8_t packed) {
  if ((packed & 0x80) == 0) return 0;
  return 3u * (2u << (packed & 7));
}

}  // namespace

bool checkGifFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 2);
  const std::uint64_t deviceBytes = bytesToDeviceEnd(context, sector);
  std::uint64_t p = 13 + colourTableBytes(file.byteAt(10));
  bool endedAtTrailer = file.byteAt(p) == kTrailer;
  // Past the device end every byte is zero, which the walk would step over one at a time forever.
  while (!endedAtTrailer && !context.stopRequested() && p < deviceBytes) {
    const std::uint8_t tag = file.byteAt(p);
    if (tag == kImageDescriptor) {
      const std::uint8_t packed = file.byteAt(p + 9);
      p += 10 + colourTableBytes(packed);
      if (file.byteAt(p + 1) != 0) {
        for (std::uint8_t size = file.byteAt(p + 1); size != 0 && p < deviceBytes; size = file.byteAt(p + 1)) {
          p += std::uint64_t{size} + 1;
        }
      }
      p += 1;
      endedAtTrailer = file.byteAt(p) == kTrailer;
    } else if (tag == kExtension) {
      p += 3 + std::uint64_t{file.byteAt(p + 2)};
      const std::uint8_t next = file.byteAt(p);
      if (next == 0) continue;
      p += std::uint64_t{next} + 1;
      endedAtTrailer = file.byteAt(p) == kTrailer;
    } else if (tag == 0) {
      p += 1;
    } else {
      break;
    }
  }
  // The last byte looked at counts when it is the trailer, however the walk came to it.
  if (!endedAtTrailer && file.byteAt(p) == kTrailer) endedAtTrailer = true;
  reportSize(row, p + (endedAtTrailer ? 1 : 0), true, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
