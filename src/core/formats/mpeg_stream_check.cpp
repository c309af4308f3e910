// MPEG-1/2 program streams (packs of one fixed size) and elementary video streams (start codes until
// a long gap, a sequence end followed by zeros, or the next sequence header at a sector start).
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"

namespace nua::formats {

namespace {

constexpr std::uint32_t kPackHeader = 0x000001BA;
constexpr std::uint32_t kProgramEnd = 0x000001B9;
constexpr std::uint32_t kSequenceHeader = 0x000001B3;
constexpr std::uint32_t kSequenceEnd = 0x000001B7;
constexpr std::uint64_t kPackSearchSectors = 63;
constexpr std::uint64_t kShortestElementaryStream = 10241;
constexpr std::uint64_t kZeroRunAfterEnd = 100;

bool isVideoStartCode(std::uint32_t code) {
  if (code / 256 != 1) return false;
  const std::uint32_t id = code % 256;
  return id == 0x00 || (id >= 0xB0 && id <= 0xB6) || id == 0xB8;
}

std::uint64_t programStreamSize(FileBytes& file, FormatContext& context, std::uint64_t base, bool& found) {
  const std::uint32_t bps = file.bytesPerSector();
  std::uint64_t period = 0;
  for (std::uint64_t q = 4; q + 4 <= kPackSearchSectors * bps; ++q) {
    if (file.be32At(q) == kPackHeader) {
      period = q;
      break;
    }
  }
  found = period != 0;
  if (!found) return 0;
  std::uint64_t position = period;
  while (!context.stopRequested()) {
    if (file.be32At(position) != kPackHeader) break;
    if (position % bps == 0) context.mpgDone.add(base + position / bps);
    const std::uint64_t old = position;
    position += period;
    if (file.be32At(old + period - 4) == kProgramEnd) break;
  }
  return file.be32At(position) == kProgramEnd ? position + 4 : position;
}

std::uint64_t elementaryStreamSize(FileBytes& file, FormatContext& context, std::uint64_t sector) {
  const std::uint32_t bps = file.bytesPerSector();
  if (sector >= context.deviceEndSector) return 0;
  const std::uint64_t width = file.be16At(4) / 16;
  const std::uint64_t height = file.be16At(5) % 4096;
  std::uint64_t gapLimit = width * height * 3 + 2ull * bps;
  std::uint64_t gapCount = 0;
  std::uint64_t endPosition = 0;
  bool endSeen = false;
  bool zeroRunSeen = false;
  bool nextFileAhead = false;
  const std::uint64_t deviceBytes = (context.deviceEndSector - sector) * bps;
  std::uint64_t d = 1;
  for (; d < deviceBytes && !context.stopRequested(); ++d) {
    if (nextFileAhead) break;
    ++gapCount;
    const std::uint32_t code = file.be32At(d);
    if (isVideoStartCode(code)) {
      endPosition = d + 4;
      gapLimit += d % bps;  // the position in the buffer, which starts at the current sector
      gapCount = 0;
    }
    if (code == kSequenceEnd) {
      endPosition = d + 4;
      endSeen = true;
    }
    if (endSeen && d % 16 == 0 && file.be64At(d) == 0) {
      std::uint64_t zeros = 0;
      while (zeros < kZeroRunAfterEnd && file.byteAt(d + zeros) == 0) ++zeros;
      zeroRunSeen = zeros >= kZeroRunAfterEnd;
    }
    if (gapLimit == 0 || gapCount >= gapLimit || zeroRunSeen) break;
    if (d >= bps && d % bps == 0 && code == kSequenceHeader) nextFileAhead = true;
  }
  return d < kShortestElementaryStream ? 0 : endPosition;
}

}  // namespace

bool checkMpegFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint64_t base = context.baseSector(sector);
  if (context.mpgDone.contains(base)) return false;
  FileBytes file(source, base, 64);
  std::uint64_t size = 0;
  const std::uint32_t head = file.be32At(0);
  if (head == kPackHeader) {
    bool found = false;
    size = programStreamSize(file, context, base, found);
    if (!found) return false;
  } else if (head == kSequenceHeader) {
    size = elementaryStreamSize(file, context, sector);
  }
  reportSize(row, size, true, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
