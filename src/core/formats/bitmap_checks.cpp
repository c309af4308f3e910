// Checks of the formats whose size stands in their header: BMP, ICNS and Minolta MRW.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {
constexpr std::uint64_t kLargestIcns = 10000000;
}

void reportSize(FormatRow& row, std::uint64_t sizeBytes, bool jump, std::uint32_t bytesPerSector) {
  row.foundSize = sizeBytes;
  row.skipFileSize = jump;
  if (jump) row.skipSize = sizeBytes / (bytesPerSector == 0 ? 512 : bytesPerSector);
}

bool checkBmpFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 1);
  if (file.le32At(6) != 0) return false;  // the reserved words
  reportSize(row, sizeFromHeaderField(file, 2, 4, ByteOrder::kLittle, 0), false, file.bytesPerSector());
  return true;
}

bool checkIcnsFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 1);
  const std::uint64_t size = sizeFromHeaderField(file, 4, 4, ByteOrder::kBig, 0);
  if (size > kLargestIcns) return false;
  reportSize(row, size, false, file.bytesPerSector());
  return true;
}

// The size is the header block plus the raw image data: depth times height times width bits, in
// whole bytes, plus the 8-byte block head.
bool checkMrwFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 1);
  const std::uint64_t headerBlock = file.be32At(4);
  const std::uint32_t height = file.be16At(24);
  const std::uint32_t width = file.be16At(26);
  const std::uint32_t depth = file.byteAt(32);
  const std::uint32_t bits = depth * height * width;  // 32 bits, as the format's readers compute it
  const std::uint64_t size = headerBlock + bits / 8 + (bits % 8 != 0 ? 1 : 0) + 8;
  reportSize(row, size, false, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
