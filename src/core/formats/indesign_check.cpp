// InDesign: of the two 4096-byte master pages the newer gives the page count; a document then carries
// trailer records after its pages, a book ("BOOKBOOK") none.
#include "formats/format_checks.h"

#include <algorithm>
#include <array>

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {

constexpr std::uint64_t kPageBytes = 4096;
constexpr std::array<std::uint8_t, 8> kMasterPageMark{0xBD, 0x31, 0xEF, 0xE7, 0xFE, 0x74, 0xB7, 0x1D};
constexpr std::uint64_t kTrailerMarkFirstA = 0xDE39397951884B6CULL;
constexpr std::uint64_t kTrailerMarkFirstB = 0xFDCEDB70F7864B4FULL;
constexpr std::uint64_t kTrailerMarkSecondA = 0x8E63EEF8AEE0DD38ULL;
constexpr std::uint64_t kTrailerMarkSecondB = 0xA4D3C728B3417106ULL;
constexpr std::uint8_t kBigEndianByteOrder = 2;

struct MasterPage {
  bool marked = false;
  std::array<std::uint8_t, 8> type{};
  std::uint8_t byteOrder = 0;
  std::uint32_t sequenceNumber = 0;
  std::uint32_t pageCount = 0;
};

MasterPage readMasterPage(FileBytes& file, std::uint64_t at) {
  MasterPage page;
  page.marked = true;
  for (std::size_t i = 0; i < 8; ++i) {
    page.marked = page.marked && file.byteAt(at + 8 + i) == kMasterPageMark[i];
    page.type[i] = file.byteAt(at + 16 + i);
  }
  page.byteOrder = file.byteAt(at + 24);
  const bool big = page.byteOrder == kBigEndianByteOrder;
  page.sequenceNumber = file.u32At(at + 264, big);
  page.pageCount = file.u32At(at + 280, big);
  return page;
}

}  // namespace

bool checkInDesignFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 8);
  const MasterPage first = readMasterPage(file, 0);
  if (!first.marked) return false;
  const MasterPage second = readMasterPage(file, kPageBytes);
  if (!second.marked || second.type != first.type || second.byteOrder != first.byteOrder) return false;
  const bool secondIsNewer = second.sequenceNumber > first.sequenceNumber ||
                             (second.sequenceNumber == first.sequenceNumber && second.pageCount > first.pageCount);
  const std::uint64_t pagesEnd = std::uint64_t{(secondIsNewer ? second : first).pageCount} * kPageBytes;
  const bool bigEndian = first.byteOrder == kBigEndianByteOrder;

  std::uint64_t size = pagesEnd;
  if (std::equal(first.type.begin(), first.type.end(), "BOOKBOOK")) {
    row.extension = "indb";
  } else {
    const auto walk = sumChunkLengths(pagesEnd, bytesToDeviceEnd(context, sector), context, [&](std::uint64_t p) {
      const std::uint64_t firstMark = file.be64At(p);
      if (firstMark != kTrailerMarkFirstA && firstMark != kTrailerMarkFirstB) {
        return ChunkStep{firstMark == 0 ? ChunkStep::Action::kEndHere : ChunkStep::Action::kReject, 0};
      }
      const std::uint64_t secondMark = file.be64At(p + 8);
      if (secondMark != kTrailerMarkSecondA && secondMark != kTrailerMarkSecondB) {
        return ChunkStep{ChunkStep::Action::kReject, 0};
      }
      const std::uint64_t length = file.u32At(p + 32, bigEndian);
      return ChunkStep{length == 0 ? ChunkStep::Action::kAdvanceThenEnd : ChunkStep::Action::kAdvance, length + 36};
    });
    if (walk.rejected) return false;
    size = walk.endPosition;
  }
  const std::uint64_t rounded = (size + kPageBytes - 1) / kPageBytes * kPageBytes;
  reportSize(row, rounded, false, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
