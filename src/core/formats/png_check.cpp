// PNG: the IHDR header is validated, then chunks are summed up to IEND or the first implausible chunk.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {

constexpr std::uint64_t kFirstChunkAfterHeader = 33;

// A chunk is plausible when its length isn't negative as a signed number and its type is four letters.
bool isPlausiblePngChunk(std::uint32_t length, ByteSpan type) {
  if (static_cast<std::int32_t>(length) < 0) return false;
  for (std::size_t i = 0; i < 4; ++i) {
    const std::uint8_t c = u8(type, i);
    if (c < 65 || c > 122 || (c >= 91 && c <= 96)) return false;
  }
  return true;
}

bool isValidBitDepth(std::uint8_t depth) { return depth == 1 || (depth != 0 && depth % 2 == 0 && depth <= 16); }

}  // namespace

bool checkPngFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 2);
  if (file.be32At(8) != 13 || !file.textAt(12, "IHDR")) return false;
  for (const std::uint64_t dimension : {16u, 20u}) {
    if (file.be32At(dimension) == 0 || (file.byteAt(dimension) & 0x80) != 0) return false;
  }
  if (!isValidBitDepth(file.byteAt(24))) return false;
  const std::uint8_t colourType = file.byteAt(25);
  if (colourType != 0 && colourType != 2 && colourType != 3 && colourType != 4 && colourType != 6) return false;
  if (file.byteAt(26) != 0 || file.byteAt(27) != 0 || file.byteAt(28) > 1) return false;

  const auto walk = sumChunkLengths(kFirstChunkAfterHeader, bytesToDeviceEnd(context, sector), context,
                                    [&](std::uint64_t position) {
                                      const std::uint32_t length = file.be32At(position);
                                      const bool end = file.textAt(position + 4, "IEND");
                                      if (!isPlausiblePngChunk(length, file.at(position + 4, 4))) return ChunkStep{};
                                      return ChunkStep{end ? ChunkStep::Action::kAdvanceThenEnd
                                                           : ChunkStep::Action::kAdvance,
                                                       std::uint64_t{length} + 12};
                                    });
  reportSize(row, walk.endPosition, true, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
