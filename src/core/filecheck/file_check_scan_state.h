// The state one photo-and-media scan shares among its file checks: what the user selected, what the
// first TIFF-family member decided about the current sector, and the reports a check hands back to
// the loop (a jump over the file, the JPEG inside a camera RAW file). One struct per scan.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace nua {

// The preview JPEG inside a camera RAW file: where it starts and how long it is. The loop registers it
// as a file of its own when `found` is set and the size is at least 1025 bytes.
struct RawJpgReport {
  std::uint64_t sectorNumber = 0;         // absolute sector holding the JPEG's first byte
  std::uint32_t extraBytesOfOffset = 0;   // the JPEG's offset into that sector
  std::uint64_t size = 0;                 // bytes
  bool found = false;
};

struct FileCheckScanState {
  std::uint32_t bytesInSector = 512;
  // Set by the user's cancel; walks test it once per round and return what they have measured.
  const std::atomic<bool>* cancelScanning = nullptr;
  // Called with the sector of a read that failed inside a check. The scan thread never shows a modal
  // alert for it: the check just answers 0 and the scan goes on.
  std::function<void(std::uint64_t sector)> onReadError;

  // Which TIFF-based formats are selected; set when the check list is built.
  bool arwSelected = false;
  bool canonSelected = false;
  bool kodakDcrSelected = false;
  bool dngSelected = false;
  bool k25Selected = false;
  bool kdcSelected = false;
  bool leicaSelected = false;
  bool nikonSelected = false;
  bool olympusSelected = false;
  bool pentaxSelected = false;
  bool rawPanasonicSelected = false;
  bool sonySr2Selected = false;
  bool threefrFileSelected = false;
  bool tiffSelected = false;

  // Per step: the verdict of the first TIFF-family member that looked at the sector; the later ones
  // only read it. Cleared by the loop after each step.
  bool canonCr2FileFound = false;
  bool canonCrwFileFound = false;
  bool kodakK25FileFound = false;
  bool kodakKdcFileFound = false;
  bool kodakDcrFileFound = false;
  bool leicaFileFound = false;
  bool nikonNefFileFound = false;
  bool olympusOrfFileFound = false;
  bool pentaxPefFileFound = false;
  bool pentaxDngFileFound = false;
  bool rawPanasonicFileFound = false;
  bool sonySr2FileFound = false;
  bool threefrFileFound = false;
  bool tiffFileFound = false;
  bool rawTiffFileFound = false;
  bool canonRawTiff = false;
  bool littleEndianFile = false;
  bool bigEndianFile = false;

  // Asks the loop to step over the measured length (MP3, MPEG).
  bool skipFileSize = false;
  RawJpgReport rawJpg;
  // Offset of the first stream start code behind an MPEG pack header, found by the MPEG test.
  std::uint32_t baFrameValue = 0;

  [[nodiscard]] bool cancelled() const { return cancelScanning != nullptr && cancelScanning->load(); }
  void reportReadError(std::uint64_t sector) const {
    if (onReadError) onReadError(sector);
  }
  // What the loop clears at the end of every step: the per-step verdicts and the RAW JPEG flag.
  void clearPerStepFlags() {
    canonCr2FileFound = canonCrwFileFound = kodakK25FileFound = kodakKdcFileFound = kodakDcrFileFound = false;
    leicaFileFound = nikonNefFileFound = olympusOrfFileFound = pentaxPefFileFound = pentaxDngFileFound = false;
    rawPanasonicFileFound = sonySr2FileFound = threefrFileFound = tiffFileFound = rawTiffFileFound = false;
    canonRawTiff = littleEndianFile = bigEndianFile = false;
    rawJpg.found = false;
  }
};

}  // namespace nua
