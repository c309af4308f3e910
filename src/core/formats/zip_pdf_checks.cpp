// ZIP and PDF: the file ends at the first end mark found within a limit taken from the row's maximum
// size; without one the find keeps that maximum and the scan doesn't jump, so what lies inside is
// still carved.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {

constexpr std::uint64_t kSearchSlackSectors = 63;
constexpr std::uint64_t kEndOfCentralDirectoryBytes = 22;

// The row's maximum, cut to what is left of the device after the file's sector.
void reportMaximumSize(FormatRow& row, const FormatContext& context, std::uint64_t sector, std::uint32_t bps) {
  const std::uint64_t maximum = rowMaximumSize(row);
  std::uint64_t size = maximum;
  if (maximum / bps + sector > context.deviceEndSector) size = bytesToDeviceEnd(context, sector);
  reportSize(row, size, false, bps);
}

EndMarkerSearch searchFrom(const FormatContext& context, std::uint64_t sector, std::uint64_t limitSectors) {
  EndMarkerSearch search;
  search.fileStartSector = context.baseSector(sector);
  search.startSector = search.fileStartSector;
  search.limitSector = search.fileStartSector + limitSectors + kSearchSlackSectors;
  search.lastChunkEnd = context.baseSector(context.deviceEndSector);
  return search;
}

}  // namespace

// The first end-of-central-directory record ends the archive, with its comment.
bool checkZipFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint32_t bps = source.bytesPerSector();
  EndMarkerSearch search = searchFrom(context, sector, rowMaximumSize(row) / bps / 2);
  search.markerLength = 4;
  const auto mark = searchEndMarker(source, context, search, [](ByteSpan b, std::size_t i) {
    return u8(b, i) == 'P' && u8(b, i + 1) == 'K' && u8(b, i + 2) == 5 && u8(b, i + 3) == 6;
  });
  if (!mark) {
    reportMaximumSize(row, context, sector, bps);
    return true;
  }
  FileBytes file(source, search.fileStartSector, 2);
  const std::uint64_t commentLength = file.le16At(*mark + 20);
  reportSize(row, *mark + kEndOfCentralDirectoryBytes + commentLength, true, bps);
  return true;
}

// The first "%EOF" that stands two bytes after a line end ends the document.
bool checkPdfFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint32_t bps = source.bytesPerSector();
  EndMarkerSearch search = searchFrom(context, sector, rowMaximumSize(row) / bps);
  search.markerLength = 4;
  const auto mark = searchEndMarker(source, context, search, [](ByteSpan b, std::size_t i) {
    const std::uint8_t lineEnd = u8(b, i - 2);
    return u8(b, i) == '%' && u8(b, i + 1) == 'E' && u8(b, i + 2) == 'O' && u8(b, i + 3) == 'F' &&
           (lineEnd == 10 || lineEnd == 13);
  });
  if (!mark) {
    reportMaximumSize(row, context, sector, bps);
    return true;
  }
  reportSize(row, *mark + 4, true, bps);
  return true;
}

}  // namespace nua::formats
