// Olympus ORF. The preview JPEG is named by the maker note: its camera-settings IFD (tag 0x2020)
// holds the preview's start (tag 257) and length (258). The note comes in two forms: "OLYMPUS\0" with
// its own byte-order mark and offsets counted from the note's start, and the older "OLYMP\0" whose
// offsets count from the file's start.
#include "filecheck/orf_file_check.h"

#include <algorithm>

namespace nua {

namespace {
constexpr std::uint16_t kTagCameraSettings = 8224;
constexpr std::uint16_t kTagPreviewStart = 257;
constexpr std::uint16_t kTagPreviewLength = 258;
constexpr std::uint64_t kRsStart = 5500;
}  // namespace

bool OrfFileCheck::earlierMemberSelected() const { return sonyOrPentaxGroupSelected() || state_.tiffSelected; }
bool OrfFileCheck::verdictFlag() const { return state_.olympusOrfFileFound; }

void OrfFileCheck::findPreviewJpeg(FileWindow& window, const TiffIfd& firstIfd, bool bigEndian, std::uint64_t sector) {
  const TiffIfdEntry* exif = firstIfd.find(kTiffTagExifIfd);
  if (exif == nullptr || exif->valueField > kTiffValueLimit) return;
  const auto exifIfd = readTiffIfd(window, exif->valueField, bigEndian, 1);
  if (!exifIfd) return;
  const TiffIfdEntry* makerNote = exifIfd->find(kTiffTagMakerNote);
  if (makerNote == nullptr || makerNote->valueField > kTiffValueLimit) return;
  const std::uint64_t note = makerNote->valueField;
  std::uint64_t noteIfd = 0;
  std::uint64_t base = 0;
  bool noteBigEndian = bigEndian;
  if (window.textAt(note, std::string_view("OLYMPUS\0", 8))) {
    noteIfd = note + 12;
    base = note;
    noteBigEndian = window.textAt(note + 8, "MM");
  } else if (window.textAt(note, "OLYMP")) {
    noteIfd = note + 8;
  } else {
    return;
  }
  const auto noteTable = readTiffIfd(window, noteIfd, noteBigEndian, 1);
  if (!noteTable) return;
  const TiffIfdEntry* settings = noteTable->find(kTagCameraSettings);
  if (settings == nullptr || settings->valueField > kTiffValueLimit) return;
  const auto settingsIfd = readTiffIfd(window, base + settings->valueField, noteBigEndian, 1);
  if (!settingsIfd) return;
  const TiffIfdEntry* start = settingsIfd->find(kTagPreviewStart);
  const TiffIfdEntry* length = settingsIfd->find(kTagPreviewLength);
  if (start == nullptr || length == nullptr) return;
  const auto startValue = tiffValue(window, *start, noteBigEndian, 0, kTiffValueLimit);
  const auto lengthValue = tiffValue(window, *length, noteBigEndian, 0, kTiffValueLimit);
  if (startValue && lengthValue) reportJpeg(sector, base + *startValue, *lengthValue);
}

std::uint64_t OrfFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const auto frame = openRawFrame(window, header);
  if (!frame) return 0;
  std::uint64_t end = headerText(header, 2, "RS") ? kRsStart : 0;
  end += tiffDataEnd(window, frame->firstIfd, frame->bigEndian, kTiffValueLimit);
  if (end < frame->firstIfdOffset) end += frame->firstIfd.tableBytes();
  findPreviewJpeg(window, frame->firstIfd, frame->bigEndian, sector);
  if (window.failed()) {
    clearRawJpeg(state_);
    return 0;
  }
  return rawSizeInRange(end, 512);
}

}  // namespace nua
