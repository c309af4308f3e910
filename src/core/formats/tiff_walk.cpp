// The TIFF walk shared by TIFF, Canon CR2, Nikon NEF, Sony SR2/SRF and Olympus ORF: the chain of
// directories is followed and the file ends at the furthest data any directory points to.
#include "formats/format_checks.h"

#include <algorithm>
#include <array>
#include <unordered_set>

#include "formats/detail/file_bytes.h"
#include "formats/tiff_directory.h"

namespace nua::formats {

namespace {

constexpr std::uint32_t kTypeTiff = 5;
constexpr std::uint32_t kTypeCr2 = 8;
constexpr std::uint32_t kTypeNef = 9;
constexpr std::uint32_t kTypeSony = 10;
constexpr std::uint32_t kCanonRawMark = 0x25243;  // "CR", 2, 0 at offset 8
constexpr std::uint64_t kLastMakerPosition = 1011;
constexpr std::uint16_t kNewSubfileType = 254;
constexpr std::uint16_t kSubDirectories = 330;
constexpr std::size_t kSonySubDirectorySlots = 32;
// A chain of directories longer than this is a loop or garbage; real files have a handful.
constexpr std::size_t kMostDirectories = 4096;

enum class TiffKind { kTiff, kCr2, kNef, kSony, kOrf };

bool makerNameWithinFirstKilobyte(FileBytes& file, const char* name) {
  for (std::uint64_t i = 0; i <= kLastMakerPosition; ++i) {
    if (file.textAt(i, name)) return true;
  }
  return false;
}

bool passesFormatTest(FileBytes& file, TiffKind kind, std::uint32_t typeOfFile) {
  switch (kind) {
    case TiffKind::kTiff:
      if (typeOfFile != kTypeTiff) return true;
      // Nikon, Sony and Canon RAW files are TIFF too; their own rows take them.
      if (makerNameWithinFirstKilobyte(file, "NIKO") || makerNameWithinFirstKilobyte(file, "SONY")) return false;
      return file.le32At(8) != kCanonRawMark;
    case TiffKind::kCr2:
      return typeOfFile != kTypeCr2 || file.le32At(8) == kCanonRawMark;
    case TiffKind::kNef:
      return typeOfFile == kTypeNef && makerNameWithinFirstKilobyte(file, "NIKO");
    case TiffKind::kSony:
      return typeOfFile == kTypeSony && makerNameWithinFirstKilobyte(file, "SONY");
    case TiffKind::kOrf:
      return true;
  }
  return false;
}

struct WalkOutcome {
  bool ok = false;
  std::uint64_t size = 0;
  bool newSubfileSeen = false;
};

WalkOutcome walkTiff(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row,
                     TiffKind kind) {
  FileBytes file(source, context.baseSector(sector), 4);
  if (!passesFormatTest(file, kind, row.typeOfFile)) return {};
  const bool bigEndian = kind != TiffKind::kOrf && file.textAt(0, "MM") && file.byteAt(2) == 0 && file.byteAt(3) == '*';
  std::uint32_t offset = file.u32At(4, bigEndian);
  if (offset % 2 != 0) return {};

  WalkOutcome outcome;
  std::vector<TiffDirectory> directories;
  std::unordered_set<std::uint32_t> visited;
  std::array<std::uint32_t, kSonySubDirectorySlots> subDirectories{};
  std::size_t subDirectoryCount = 0;
  std::size_t nextSubDirectory = 0;
  while (offset != 0 && !context.stopRequested()) {
    // A directory met again would send the walk round for ever: the chain ends there.
    if (!visited.insert(offset).second || directories.size() >= kMostDirectories) break;
    TiffDirectory directory;
    if (!readTiffDirectory(file, offset, bigEndian, directory)) return {};
    const bool good = kind == TiffKind::kCr2 ? checkCr2Directory(directory) : checkTiffDirectory(directory);
    if (!good) return {};
    if (kind == TiffKind::kSony) {
      for (const auto& e : directory.entries) {
        if (e.tag == kNewSubfileType) outcome.newSubfileSeen = true;
        if (e.tag != kSubDirectories) continue;
        if (e.count == 1) {
          if (subDirectoryCount < kSonySubDirectorySlots) subDirectories[subDirectoryCount++] = e.value;
        } else {
          for (std::uint32_t i = 0; i < e.count && subDirectoryCount < kSonySubDirectorySlots; ++i) {
            subDirectories[subDirectoryCount++] = file.u32At(std::uint64_t{e.value} + std::uint64_t{i} * 4, bigEndian);
          }
        }
      }
    }
    offset = directory.nextOffset;
    directories.push_back(std::move(directory));
    if (offset == 0 && kind == TiffKind::kSony && nextSubDirectory < kSonySubDirectorySlots) {
      offset = subDirectories[nextSubDirectory++];  // an empty slot (0) ends the walk
    }
  }
  if (directories.empty()) return {};
  for (const auto& directory : directories) {
    outcome.size = std::max(outcome.size, tiffDirectoryEnd(file, directory, bigEndian));
  }
  outcome.ok = outcome.size != 0;
  return outcome;
}

bool checkTiffFamily(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row,
                     TiffKind kind) {
  const WalkOutcome outcome = walkTiff(source, sector, context, row, kind);
  if (!outcome.ok) return false;
  reportSize(row, outcome.size, true, source.bytesPerSector());
  return true;
}

}  // namespace

bool checkTiffFile(SectorSource& s, std::uint64_t sector, FormatContext& c, FormatRow& r) {
  return checkTiffFamily(s, sector, c, r, TiffKind::kTiff);
}
bool checkCr2File(SectorSource& s, std::uint64_t sector, FormatContext& c, FormatRow& r) {
  return checkTiffFamily(s, sector, c, r, TiffKind::kCr2);
}
bool checkNefFile(SectorSource& s, std::uint64_t sector, FormatContext& c, FormatRow& r) {
  return checkTiffFamily(s, sector, c, r, TiffKind::kNef);
}
bool checkOrfFile(SectorSource& s, std::uint64_t sector, FormatContext& c, FormatRow& r) {
  return checkTiffFamily(s, sector, c, r, TiffKind::kOrf);
}

// Sony: a file with a new-subfile entry is an SR2; without one it is an SRF, whose walked size is
// scaled by 1.2 while the jump stays unscaled.
bool checkSonyRawFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const WalkOutcome outcome = walkTiff(source, sector, context, row, TiffKind::kSony);
  if (!outcome.ok) return false;
  const std::uint32_t bps = source.bytesPerSector() == 0 ? 512 : source.bytesPerSector();
  row.extension = outcome.newSubfileSeen ? "sr2" : "srf";
  row.foundSize = outcome.newSubfileSeen ? outcome.size : outcome.size * 12 / 10;
  row.skipFileSize = true;
  row.skipSize = outcome.size / bps;
  return true;
}

}  // namespace nua::formats
