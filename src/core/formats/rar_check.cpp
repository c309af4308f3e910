// RAR 4: the block heads are summed up to the end-of-archive head. A file whose first head type is
// out of range (RAR 5 among them) stands with a size of 7, the signature's length.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {
constexpr std::uint8_t kFirstHeadType = 114;
constexpr std::uint8_t kEndOfArchive = 123;  // '{'
constexpr std::uint64_t kSignatureBytes = 7;
bool isHeadType(std::uint8_t type) { return type >= kFirstHeadType && type <= kEndOfArchive; }
}  // namespace

bool checkRarFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 2);
  const std::uint32_t bps = file.bytesPerSector();
  if (!isHeadType(file.byteAt(9))) {
    reportSize(row, kSignatureBytes, true, bps);
    return true;
  }
  const auto walk = sumChunkLengths(kSignatureBytes, bytesToDeviceEnd(context, sector), context,
                                    [&](std::uint64_t p) {
                                      const std::uint8_t type = file.byteAt(p + 2);
                                      if (!isHeadType(type)) return ChunkStep{ChunkStep::Action::kReject, 0};
                                      const bool hasAddedSize = (file.byteAt(p + 4) & 0x80) != 0;
                                      std::uint64_t length = file.le16At(p + 5);
                                      if (hasAddedSize) length += file.le32At(p + 7);
                                      const bool last = type == kEndOfArchive || (length == 0 && !hasAddedSize);
                                      return ChunkStep{last ? ChunkStep::Action::kAdvanceThenEnd
                                                            : ChunkStep::Action::kAdvance,
                                                       length};
                                    });
  if (walk.rejected) {
    row.skipFileSize = false;
    return false;
  }
  reportSize(row, walk.endPosition, true, bps);
  return true;
}

}  // namespace nua::formats
