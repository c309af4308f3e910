#include "app/scan_decision.h"

#include <string>

namespace nua {

SignatureStep decideSignatureStep(std::int32_t scanMode, std::int32_t volumeScanType, bool supportsFileSystemRecovery,
                                  bool skipped, bool rawBoxOn) {
  using Then = SignatureStep::Then;
  const Then boxOrStart = rawBoxOn ? Then::kRawSlider : Then::kStart;
  if (volumeScanType == 2 && scanMode != 5) {
    if (!supportsFileSystemRecovery) return {boxOrStart, 2, true};
    // The deleted-file scan alone never offers a range, so the slider texts are left alone.
    if (scanMode == 0 || skipped) return {Then::kStart, 0, false};
    // A fast photo recovery always searches the whole range.
    return {scanMode == 2 ? Then::kStart : boxOrStart, 1, true};
  }
  if (volumeScanType != 0 && volumeScanType != 1 && scanMode != 5) {
    if (volumeScanType != 3) return {};
    return {boxOrStart, 3, true};
  }
  if (skipped) return {rawBoxOn ? Then::kRawSliderAndStart : Then::kStart, 5, true};
  return {boxOrStart, 4, true};
}

std::optional<ScanLaunch> scanLaunchFor(std::int32_t rawSearchMode, std::int32_t scanMode, std::int32_t treeScanMode,
                                        const SigSelArray& sigSelArray, std::optional<std::uint64_t> resumeFrom) {
  const std::int64_t method = (scanMode == 0 || scanMode == 1) ? 0 : (scanMode == 2 || scanMode == 3) ? 1 : -1;
  const std::string scanName = treeScanMode == 1 ? "Advanced Scan" : "Normal Scan";
  ScanLaunch launch;
  switch (rawSearchMode) {
    case 0: launch.arguments = {std::int64_t{1}, std::int64_t{0}}; break;
    case 1: launch.arguments = {std::int64_t{1}, std::int64_t{1}, sigSelArray, method}; break;
    case 2: launch.arguments = {std::int64_t{0}, std::int64_t{1}, sigSelArray, method}; break;
    case 3:
      launch.entry = ScanEntry::kScanForDeletedFilesDisk;
      launch.arguments = {sigSelArray, method};
      break;
    case 4:
      launch.entry = ScanEntry::kStartMakingTree;
      launch.arguments = {scanName, std::int64_t{1}, sigSelArray};
      break;
    case 5:
      launch.entry = ScanEntry::kStartMakingTree;
      launch.arguments = {scanName, std::int64_t{0}};
      break;
    default: return std::nullopt;
  }
  // Modes with a signature search can be resumed: their arrays end in the begin position and "auto".
  if (resumeFrom && rawSearchMode >= 1 && rawSearchMode <= 4) {
    launch.arguments.emplace_back(static_cast<std::int64_t>(*resumeFrom));
    launch.arguments.emplace_back(std::string("auto"));
  }
  return launch;
}

const char* statusFormatForScanMode(std::int32_t mode) {
  switch (mode) {
    case 0:
    case 1: return "Searching for deleted files from %@";
    case 2:
    case 3: return "Searching for music, video and photos from %@";
    default: return "Creating tree from %@";
  }
}

}  // namespace nua
