// MP4, M4A, M4V, 3GP, 3G2 and QuickTime MOV: top-level atoms are summed while their names are four
// lower-case letters and they fit the device.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"

namespace nua::formats {

namespace {

bool isLowerCaseAtomName(ByteSpan name) {
  for (std::size_t i = 0; i < 4; ++i) {
    const std::uint8_t c = u8(name, i);
    if (c < 'a' || c > 'z') return false;
  }
  return true;
}

// The position (a 32-bit number) after the last plausible atom.
std::uint64_t atomWalkEnd(SectorSource& source, std::uint64_t sector, FormatContext& context) {
  FileBytes file(source, context.baseSector(sector), 2);
  const std::uint32_t bps = file.bytesPerSector();
  std::uint32_t position = 0;
  while (!context.stopRequested()) {
    const std::uint32_t n = file.be32At(position);
    if (n == 0) break;
    if (position / bps + n / bps + sector > context.deviceEndSector) break;
    if (!isLowerCaseAtomName(file.at(std::uint64_t{position} + 4, 4))) break;
    // A 32-bit position that wrapped round would walk the same atoms again for ever.
    if (n > UINT32_MAX - position) break;
    position += n;
  }
  return position;
}

}  // namespace

bool checkMp4File(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  FileBytes head(source, context.baseSector(sector), 1);
  row.extension = "mp4";
  if (head.textAt(8, "M4")) {
    if (head.byteAt(10) == 'A') row.extension = "m4a";
    if (head.byteAt(10) == 'V') row.extension = "m4v";
  } else if (head.textAt(8, "3g")) {
    return false;  // left to the 3GP rows
  }
  reportSize(row, atomWalkEnd(source, sector, context), true, source.bytesPerSector());
  return true;
}

bool check3gppFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  reportSize(row, atomWalkEnd(source, sector, context), true, source.bytesPerSector());
  return true;
}

bool check3gpp2File(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  return check3gppFile(source, sector, context, row);
}

bool checkMovFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  reportSize(row, atomWalkEnd(source, sector, context), false, source.bytesPerSector());
  return true;
}

}  // namespace nua::formats
