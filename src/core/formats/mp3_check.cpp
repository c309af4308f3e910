// MP3: an optional ID3v2 tag or RIFF wrapper, a first frame sync within 100 sectors, two frames that
// agree, then frames counted while version, layer and protection stay the same. The sectors where
// frames start are remembered, so that a long stream isn't found again from each of its frames.
#include "formats/format_checks.h"

#include <algorithm>
#include <optional>

#include "formats/detail/file_bytes.h"
#include "formats/mpeg_audio.h"

namespace nua::formats {

namespace {

constexpr std::uint32_t kLowestSync = 0xFFE00000u;
constexpr std::uint32_t kId3SizeFlagBits = 0x80808080u;
constexpr std::uint16_t kMpegLayer3Format = 85;
constexpr std::uint64_t kSyncSearchSectors = 100;
constexpr std::size_t kFewestFrames = 10;

bool isRiffOrSync(FileBytes& file, std::uint64_t p) { return file.textAt(p, "RIFF") || file.be32At(p) >= kLowestSync; }

// The first position in [from, to) holding "RIFF" or a frame sync, looked for a block at a time.
std::optional<std::uint64_t> findRiffOrSync(FileBytes& file, const FormatContext& context, std::uint64_t from,
                                            std::uint64_t to) {
  constexpr std::uint64_t kBlock = 4096;
  for (std::uint64_t block = from; block < to && !context.stopRequested(); block += kBlock) {
    const std::uint64_t count = std::min(kBlock, to - block);
    const ByteSpan bytes = file.at(block, static_cast<std::size_t>(count) + 3);
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t b0 = u8(bytes, i);
      if (b0 != 0xFF && b0 != 'R') continue;
      const bool sync = b0 == 0xFF && u8(bytes, i + 1) >= 0xE0;
      const bool riff = b0 == 'R' && u8(bytes, i + 1) == 'I' && u8(bytes, i + 2) == 'F' && u8(bytes, i + 3) == 'F';
      if (sync || riff) return block + i;
    }
  }
  return std::nullopt;
}

// Marks the sector of `p` as done when a frame or wrapper starts right at it.
void markDoneAtSectorStart(FormatContext& context, std::uint64_t base, std::uint64_t p, std::uint32_t bps) {
  if (p % bps == 0) context.mp3Done.add(base + p / bps);
}

}  // namespace

bool checkMp3File(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint64_t base = context.baseSector(sector);
  if (context.mp3Done.contains(base)) return false;
  FileBytes file(source, base, 64);
  const std::uint32_t bps = file.bytesPerSector();

  std::uint64_t p = 0;
  if (file.textAt(0, "ID")) {
    if (file.byteAt(2) != '3') return false;
    const std::uint32_t tagSize = file.be32At(6);
    if ((tagSize & kId3SizeFlagBits) != 0) return false;
    p = std::uint64_t{mp3BitShredder(tagSize)} + 10;
  }
  if (file.textAt(0, "RIFF")) {
    // A WAV wrapper: its chunks up to "data" must lie within the first sector.
    std::uint64_t q = 12;
    while (true) {
      const bool isData = file.textAt(q, "data");
      q += 8 + std::uint64_t{file.le32At(q + 4)};
      if (q > bps - 9) return false;
      if (isData) break;
    }
    if (file.le16At(20) != kMpegLayer3Format) return false;
    context.mp3Done.add(base);
    p = q;
  }

  if (!isRiffOrSync(file, p)) {
    const auto next = findRiffOrSync(file, context, p + 1, p + kSyncSearchSectors * bps);
    if (!next) return false;
    p = *next;
  }

  if (file.textAt(p, "RIFF")) {
    if (file.le16At(p + 20) != kMpegLayer3Format) return false;
    markDoneAtSectorStart(context, base, p, bps);
    // The chunk type is compared as read, without a swap, so only the bytes "atad" end this walk;
    // in practice it runs off the two sectors and the file is turned down.
    const std::uint64_t bufferStart = p / bps * bps;
    std::uint64_t q = p + 12;
    while (!context.stopRequested()) {
      if (q - bufferStart > 2ull * bps - 9) return false;
      if (file.textAt(q, "atad")) break;
      q += 8 + std::uint64_t{file.le32At(q + 4)};
    }
    p = q + 8;
  }

  const MpegAudioFrameHeader first = decodeMpegAudioFrameHeader(file.be32At(p));
  if (!first.firstFieldsOk()) return false;
  std::uint64_t probe = p;
  for (int frame = 0; frame < 2; ++frame) {
    const MpegAudioFrameHeader h = decodeMpegAudioFrameHeader(file.be32At(probe));
    if (!h.ok() || !h.sameStream(first)) return false;
    probe += h.step();
  }

  std::size_t frames = 0;
  while (!context.stopRequested()) {
    const MpegAudioFrameHeader h = decodeMpegAudioFrameHeader(file.be32At(p));
    if (!h.ok() || !h.sameStream(first)) break;
    markDoneAtSectorStart(context, base, p, bps);
    p += h.step();
    ++frames;
  }
  if (frames < kFewestFrames) return false;
  reportSize(row, p, true, bps);
  return true;
}

}  // namespace nua::formats
