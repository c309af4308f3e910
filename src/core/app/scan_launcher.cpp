#include "app/scan_launcher.h"

namespace nua {

const char* scanEntryName(ScanEntry entry) {
  switch (entry) {
    case ScanEntry::kScanForDeletedFiles: return "scanForDeletedFiles";
    case ScanEntry::kScanForDeletedFilesDisk: return "scanForDeletedFilesDisk";
    case ScanEntry::kStartMakingTree: return "startMakingTree";
  }
  return "none";
}

}  // namespace nua
