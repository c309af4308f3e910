// The wizard's last decision, in one place for the clicks and for a typed scan request: what Next or
// Skip on "Signatures" leads to, and which thread entry starts with which argument array.
#pragma once

#include <cstdint>
#include <optional>

#include "app/scan_launcher.h"

namespace nua {

// What follows Next or Skip on "Signatures".
struct SignatureStep {
  enum class Then {
    kNothing,             // the target is of no kind a scan runs on; rawSearchMode stays as it was
    kStart,               // the scan starts at once
    kRawSlider,           // "Raw slider" is shown for the range
    kRawSliderAndStart,   // shown, and started at once with the whole range: a tree scan has no range to limit
  };
  Then then = Then::kNothing;
  std::int32_t rawSearchMode = 0;
  bool updateSliderTexts = false;
};

// `volumeScanType` of the target, whether it supports file system recovery, whether the signature
// search was skipped (an empty catalog) and whether the raw-search box is on.
[[nodiscard]] SignatureStep decideSignatureStep(std::int32_t scanMode, std::int32_t volumeScanType,
                                                bool supportsFileSystemRecovery, bool skipped, bool rawBoxOn);

struct ScanLaunch {
  ScanEntry entry = ScanEntry::kScanForDeletedFiles;
  ScanArguments arguments;
};

// The thread entry and argument array of a rawSearchMode; a resume (`resumeFrom` set) ends the
// arrays of the modes with a signature search in the begin position and "auto". Nothing for a
// rawSearchMode above 5.
[[nodiscard]] std::optional<ScanLaunch> scanLaunchFor(std::int32_t rawSearchMode, std::int32_t scanMode,
                                                      std::int32_t treeScanMode, const SigSelArray& sigSelArray,
                                                      std::optional<std::uint64_t> resumeFrom);

// The status line of a scan for a mode: "Searching for deleted files from %@" and its siblings.
[[nodiscard]] const char* statusFormatForScanMode(std::int32_t scanMode);

}  // namespace nua
