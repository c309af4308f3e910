// The TIFF family's maker test.
#include "filecheck/tiff_maker_test.h"

#include <array>
#include <string_view>

#include "filecheck/file_check.h"
#include "filecheck/file_window.h"
#include "filecheck/tiff_ifd.h"

namespace nua {

namespace {

// Bytes 2 and 3 of the header that Panasonic and Leica use in place of the TIFF version: 'U', 0.
bool panasonicMark(ByteSpan header) {
  return fits(header.size(), 2, 2) && u8(header, 2) == 'U' && u8(header, 3) == 0;
}
// Olympus writes "IIRO", "IIRS" or "MMOR" where a TIFF has its version.
bool olympusMark(ByteSpan header) {
  return headerText(header, 0, "IIRO") || headerText(header, 0, "IIRS") || headerText(header, 0, "MMOR") ||
         panasonicMark(header);
}

bool startsWith(FileWindow& window, std::uint64_t offset, std::string_view text) { return window.textAt(offset, text); }

// The value of a text tag: inline for up to four bytes, else at the value offset (within the limit).
std::uint64_t textOffset(const TiffIfdEntry& entry) {
  return entry.count <= 4 ? entry.entryOffset + 8 : entry.valueField;
}

void clearVerdicts(FileCheckScanState& state) {
  state.canonCr2FileFound = state.canonCrwFileFound = state.kodakK25FileFound = state.kodakKdcFileFound = false;
  state.kodakDcrFileFound = state.leicaFileFound = state.nikonNefFileFound = state.olympusOrfFileFound = false;
  state.pentaxPefFileFound = state.pentaxDngFileFound = state.rawPanasonicFileFound = state.sonySr2FileFound = false;
  state.threefrFileFound = state.tiffFileFound = state.rawTiffFileFound = state.canonRawTiff = false;
}

bool anyCameraVerdict(const FileCheckScanState& s, const TiffMakerVerdict& v) {
  return s.canonCr2FileFound || s.kodakK25FileFound || s.kodakKdcFileFound || s.kodakDcrFileFound ||
         s.leicaFileFound || s.nikonNefFileFound || s.olympusOrfFileFound || s.pentaxPefFileFound ||
         s.pentaxDngFileFound || s.rawPanasonicFileFound || s.sonySr2FileFound || s.threefrFileFound ||
         v.sonyArwA700File || v.sonyArwA100File;
}

constexpr std::array<std::string_view, 5> kSonyA700Models = {"DSLR-A900", "DSLR-A700", "DSLR-A350", "DSLR-A300",
                                                             "DSLR-A200"};
constexpr std::array<std::string_view, 4> kKodakDcrModels = {"DCS PRO", "DCS 669C", "DCS Pro SLR", "Kodak DC120"};
constexpr std::array<std::string_view, 2> kKodakKdcModels = {"Kodak Digital Science DC50",
                                                             "KODAK P880 ZOOM DIGITAL CAMERA"};

}  // namespace

bool hasCanonHeapMark(ByteSpan header) { return headerText(header, 6, "HEAPCCDR"); }

int pentaxRawTiffFile(SectorSource& source, FileCheckScanState& state, std::uint64_t sector, bool bigEndian,
                      std::uint64_t firstIfdOffset) {
  FileWindow window(source, state, sector);
  const auto ifd = readTiffIfd(window, firstIfdOffset, bigEndian);
  if (!ifd) return 3;
  const TiffIfdEntry* exif = ifd->find(kTiffTagExifIfd);
  if (exif == nullptr) return 1;
  if (exif->valueField > kTiffValueLimit) return 0;
  const auto exifIfd = readTiffIfd(window, exif->valueField, bigEndian, 1);
  if (!exifIfd) return 3;
  const TiffIfdEntry* makerNote = exifIfd->find(kTiffTagMakerNote);
  if (makerNote == nullptr || makerNote->valueField > kTiffValueLimit) return 1;
  if (startsWith(window, makerNote->valueField, std::string_view("AOC\0", 4)) ||
      startsWith(window, makerNote->valueField, "PENTAX ")) {
    return 2;
  }
  return 1;
}

TiffMakerVerdict runTiffMakerTest(SectorSource& source, FileCheckScanState& state, ByteSpan header,
                                  std::uint64_t sector) {
  TiffMakerVerdict verdict;
  state.rawTiffFileFound = false;
  state.littleEndianFile = state.bigEndianFile = false;
  clearVerdicts(state);
  const auto bigEndian = tiffIsBigEndian(header);
  if (!bigEndian) return verdict;
  state.bigEndianFile = *bigEndian;
  state.littleEndianFile = !*bigEndian;
  if (hasCanonHeapMark(header)) {
    state.canonCrwFileFound = true;
    return verdict;
  }
  const std::uint32_t firstIfd = *bigEndian ? headerBe32(header, 4) : headerLe32(header, 4);
  if (firstIfd < 8 || firstIfd > kTiffValueLimit) return verdict;
  FileWindow window(source, state, sector);
  const auto ifd = readTiffIfd(window, firstIfd, *bigEndian);
  if (!ifd) return verdict;
  const bool tiffVersion = (*bigEndian ? headerBe16(header, 2) : headerLe16(header, 2)) == 42;
  bool rejected = false;
  for (const TiffIfdEntry& entry : ifd->entries) {
    if (state.cancelled()) return verdict;
    if (entry.tag == kTiffTagDngVersion || entry.tag == kTiffTagDngBackwardVersion) {
      // DNG is its own format, whatever camera wrote it.
      clearVerdicts(state);
      verdict = {};
      state.pentaxDngFileFound = true;
      return verdict;
    }
    if (entry.tag != kTiffTagMake && entry.tag != kTiffTagModel) continue;
    const std::uint64_t text = textOffset(entry);
    if (text > kTiffValueLimit) continue;
    if (entry.tag == kTiffTagMake) {
      if (startsWith(window, text, "OLYMPUS") && olympusMark(header)) {
        state.olympusOrfFileFound = true;
      } else if (startsWith(window, text, "Panason") && panasonicMark(header)) {
        state.rawPanasonicFileFound = true;
      } else if (startsWith(window, text, "Hasselb")) {
        state.threefrFileFound = true;
      } else if (startsWith(window, text, "PENTAX")) {
        switch (pentaxRawTiffFile(source, state, sector, *bigEndian, firstIfd)) {
          case 1: state.rawTiffFileFound = state.tiffFileFound = true; break;
          case 2: state.pentaxPefFileFound = true; break;
          default: rejected = true; break;
        }
      } else if (startsWith(window, text, "Canon")) {
        if (tiffVersion && headerText(header, 8, "CR")) {
          state.canonCr2FileFound = true;
        } else {
          state.canonRawTiff = state.tiffFileFound = state.rawTiffFileFound = true;
        }
      } else if (startsWith(window, text, "NIKON")) {
        state.nikonNefFileFound = true;
      } else if (startsWith(window, text, "LEICA") && panasonicMark(header)) {
        state.leicaFileFound = true;
      } else if (startsWith(window, text, "Phase")) {
        state.tiffFileFound = state.rawTiffFileFound = true;
      }
    } else {
      if (startsWith(window, text, "DSC-R1")) state.sonySr2FileFound = true;
      for (const std::string_view model : kSonyA700Models) verdict.sonyArwA700File |= startsWith(window, text, model);
      if (startsWith(window, text, "DSLR-A100")) verdict.sonyArwA100File = true;
      for (const std::string_view model : kKodakDcrModels) state.kodakDcrFileFound |= startsWith(window, text, model);
      if (startsWith(window, text, "KODAK DC25")) state.kodakK25FileFound = true;
      for (const std::string_view model : kKodakKdcModels) state.kodakKdcFileFound |= startsWith(window, text, model);
    }
  }
  if (window.failed() || rejected) {
    clearVerdicts(state);
    return {};
  }
  if (!anyCameraVerdict(state, verdict)) state.tiffFileFound = true;
  return verdict;
}

}  // namespace nua
