// JPEG: the markers are walked to the baseline frame and the start of scan, then the end marker is
// sought within a limit guessed from the picture's size; without it the guess itself is the size.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kBaselineFrame = 0xC0;
constexpr std::uint64_t kSearchSlackSectors = 63;
}  // namespace

bool checkJpegFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint64_t base = context.baseSector(sector);
  FileBytes file(source, base, 1);
  const std::uint32_t bps = file.bytesPerSector();
  const std::uint8_t b2 = file.byteAt(2);
  const std::uint8_t b3 = file.byteAt(3);
  if (b2 != 0xFF && (b3 == 0 || b3 == 0xFF)) return false;

  std::uint64_t p = 2;
  std::uint64_t n = file.be16At(4);
  bool scanSeen = false;
  bool frameKnown = false;
  bool endedByFrameAndScan = false;
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  while (n != 0 && !context.stopRequested()) {
    p += n + 2;
    const std::uint8_t marker = file.byteAt(p);
    const std::uint8_t kind = file.byteAt(p + 1);
    if (marker == 0xFF) {
      if (kind == kStartOfScan) scanSeen = true;
      if (kind == kBaselineFrame) {
        height = file.be16At(p + 5);
        width = file.be16At(p + 7);
        frameKnown = true;
      }
    }
    if (marker != 0xFF && !scanSeen) return false;
    if ((kind == 0 || kind == 0xFF) && !scanSeen) return false;
    n = file.be16At(p + 2);
    if (frameKnown && scanSeen) {
      endedByFrameAndScan = true;
      break;
    }
  }
  if (endedByFrameAndScan) p += n + 2;

  const std::uint64_t estimateSectors = width * height * 3 / 2 / bps;
  const std::uint64_t searchStart = base + p / bps;
  EndMarkerSearch search;
  search.fileStartSector = base;
  search.startSector = searchStart;
  search.limitSector = searchStart + estimateSectors * 3 / 4 + kSearchSlackSectors;
  search.lastChunkEnd = context.baseSector(context.deviceEndSector);
  search.markerLength = 2;
  const auto end = searchEndMarker(source, context, search, [](ByteSpan bytes, std::size_t i) {
    return u8(bytes, i) == 0xFF && u8(bytes, i + 1) == 0xD9;
  });
  if (end) {
    reportSize(row, *end + 2, true, bps);
    return true;
  }
  std::uint64_t size = std::uint64_t{bps} * (estimateSectors + p / bps);
  if (sector + size / bps > context.deviceEndSector) size = bytesToDeviceEnd(context, sector);
  reportSize(row, size, false, bps);
  return true;
}

}  // namespace nua::formats
