// Formats sized by a header field or a short chunk walk: AVI and WAV (RIFF), AIFF, and MIDI.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"
#include "formats/format_size.h"

namespace nua::formats {

namespace {
constexpr std::uint64_t kAviSlackBytes = 2048;
constexpr std::uint64_t kChunkHeadBytes = 8;
constexpr std::uint16_t kMpegLayer3Format = 85;
constexpr std::uint64_t kMidiTailBytes = 2;
}  // namespace

// The RIFF length plus a fixed 2048 bytes of slack, and no jump: an AVI's index may trail its RIFF.
bool checkAviFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 1);
  reportSize(row, sizeFromHeaderField(file, 4, 4, ByteOrder::kLittle, kAviSlackBytes), false, file.bytesPerSector());
  return true;
}

// A WAV holding MPEG layer III is judged as an MP3.
bool checkWavFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 1);
  if (!file.textAt(8, "WAVE")) return false;
  if (file.le16At(20) == kMpegLayer3Format) return checkMp3File(source, sector, context, row);
  reportSize(row, sizeFromHeaderField(file, 4, 4, ByteOrder::kLittle, kChunkHeadBytes), false, file.bytesPerSector());
  return true;
}

bool checkAiffFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 1);
  if (!file.textAt(0, "FORM")) return false;
  reportSize(row, sizeFromHeaderField(file, 4, 4, ByteOrder::kBig, kChunkHeadBytes), false, file.bytesPerSector());
  return true;
}

// The header and track chunks are summed; the size carries a fixed 2 bytes more.
bool checkMidiFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes file(source, context.baseSector(sector), 2);
  const auto walk = sumChunkLengths(0, bytesToDeviceEnd(context, sector), context, [&](std::uint64_t p) {
    if (!file.textAt(p, "MThd") && !file.textAt(p, "MTrk")) return ChunkStep{};
    return ChunkStep{ChunkStep::Action::kAdvance, std::uint64_t{file.be32At(p + 4)} + kChunkHeadBytes};
  });
  reportSize(row, walk.endPosition + kMidiTailBytes, true, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
