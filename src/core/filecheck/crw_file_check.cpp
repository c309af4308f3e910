// Canon CRW. The root directory sits at the end of the heap: a u16 entry count, 10-byte entries
// (tag u16, size u32, offset u32 from the heap's start), then the u32 pointer to the directory,
// which is the file's last field. So the pointer's own position is the directory's start plus 2 plus
// 10 per entry; the walk accepts 2, 3 or 4 entries (distances 22, 32 and 42).
#include "filecheck/crw_file_check.h"

#include <array>

#include "filecheck/tiff_ifd.h"
#include "filecheck/tiff_maker_test.h"

namespace nua {

namespace {
constexpr std::uint64_t kWalkLimit = 0x1400000;
constexpr std::uint64_t kLongFileSize = 0xF00000;
constexpr std::uint16_t kTagJpgFromRaw = 0x2007;  // 8199
constexpr std::array<std::uint64_t, 3> kPointerDistances = {32, 42, 22};
}  // namespace

bool CrwFileCheck::isFile(ByteSpan header, std::uint64_t) {
  const bool anyTiffSelected = state_.arwSelected || state_.canonSelected || state_.kodakDcrSelected ||
                               state_.dngSelected || state_.k25Selected || state_.kdcSelected ||
                               state_.leicaSelected || state_.nikonSelected || state_.olympusSelected ||
                               state_.pentaxSelected || state_.rawPanasonicSelected || state_.sonySr2Selected ||
                               state_.threefrFileSelected || state_.tiffSelected;
  if (anyTiffSelected) return state_.canonCrwFileFound;
  const auto bigEndian = tiffIsBigEndian(header);
  if (!bigEndian || !hasCanonHeapMark(header)) return false;
  state_.bigEndianFile = *bigEndian;
  state_.littleEndianFile = !*bigEndian;
  return true;
}

std::uint64_t CrwFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  const auto order = tiffIsBigEndian(header);
  if (!order) return 0;
  const bool bigEndian = *order;
  FileWindow window = openWindow(sector);
  const std::uint64_t heapStart = window.u32At(2, bigEndian);
  if (window.failed()) return 0;
  // The pointer's high byte is 0 or 1 (a heap below 32 MiB): the byte that triggers a closer look.
  const std::uint64_t highByteAt = bigEndian ? 0 : 3;
  std::uint64_t pointerAt = bigEndian ? 0x200000 : 0x100000;
  std::uint64_t directory = 0;
  for (;; ++pointerAt) {
    if (window.failed()) return 0;
    if (pointerAt > kWalkLimit) return kLongFileSize;
    if ((pointerAt & 0xFFFF) == 0 && window.cancelled()) return pointerAt;
    if (window.byteAt(pointerAt + highByteAt) > 1) continue;
    const std::uint64_t value = window.u32At(pointerAt, bigEndian);
    bool found = false;
    for (const std::uint64_t distance : kPointerDistances) found = found || pointerAt == value + heapStart + distance;
    if (found) {
      directory = value + heapStart;
      break;
    }
  }
  const std::uint64_t end = pointerAt + 4;
  const std::uint16_t entries = window.u16At(directory, bigEndian);
  for (std::uint16_t i = 0; i < entries && i < 4; ++i) {
    const std::uint64_t entry = directory + 2 + static_cast<std::uint64_t>(i) * 10;
    if (window.u16At(entry, bigEndian) != kTagJpgFromRaw) continue;
    const std::uint64_t jpegSize = window.u32At(entry + 2, bigEndian);
    const std::uint64_t jpegOffset = window.u32At(entry + 6, bigEndian) + heapStart;
    reportRawJpeg(state_, bytesInSector(), sector, jpegOffset, jpegSize);
    state_.rawJpg.found = state_.rawJpg.sectorNumber <= kWalkLimit;
  }
  if (window.failed()) {
    clearRawJpeg(state_);
    return 0;
  }
  return end;
}

}  // namespace nua
