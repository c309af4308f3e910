// One typed entry to the wizard: the answers a person gives on its screens (target, row, mode, tree
// scan, file types, range), from which the controller starts exactly the scan those clicks would.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nua {

// Which row of the target the scan runs on.
enum class ScanTargetRow {
  kVolume,      // row N of the target's volumes; in partition recovery, the partition holding it
  kPartition,   // row N of the target's partition list (partition recovery)
  kLostVolume,  // row N of the volumes the lost-volume search found (partition recovery)
  kWholeDisk,   // the disk itself (advanced photo recovery)
};

enum class SignatureChoice { kSkip, kAll, kList };

struct ScanRequest {
  std::string targetPath;  // a disk image or device, as the drive list names it
  ScanTargetRow rowKind = ScanTargetRow::kPartition;
  int row = 0;
  // 0 files, 1 files-advanced, 2 photos, 3 photos-advanced, 4 partitions, 5 formatted.
  std::int32_t scanMode = 4;
  // On "Tree scan mode": 0 standard, 1 advanced. Formatted recovery is always advanced.
  std::int32_t treeScanMode = 0;
  SignatureChoice signatures = SignatureChoice::kSkip;
  std::vector<std::string> signatureExtensions;  // with kList: the file types marked, by extension
  // The range in percent; anything but 0 to 100 is set on "Raw slider", through the raw-search box.
  float rangeStart = 0.0f;
  float rangeEnd = 100.0f;
  // Whether the volume's file system is used (deleted-file scan, then a search of what it leaves), or
  // only searched by signatures; unset takes what the volume reports. Asking for a file system scan of
  // a volume that supports none is refused.
  std::optional<bool> fileSystemRecovery;
};

// Why no scan started. An empty error with `started` false means the wizard's own alert said why.
struct ScanRequestResult {
  bool started = false;
  std::string error;
};

// "files", "files-advanced", "photos", "photos-advanced", "partitions", "formatted": scanMode 0 to 5.
[[nodiscard]] std::optional<std::int32_t> scanModeNamed(const std::string& name);

}  // namespace nua
