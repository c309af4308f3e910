// The hand-over from the wizard to a scan thread: one entry, one receiver, one argument array.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "signature/sig_node.h"

namespace nua {

class Volume;
class DMedia;

enum class ScanEntry { kScanForDeletedFiles, kScanForDeletedFilesDisk, kStartMakingTree };

[[nodiscard]] const char* scanEntryName(ScanEntry entry);

using SigSelArray = std::vector<std::shared_ptr<SigNode>>;
// One element of an argument array: a number, a string, or the selected signatures.
using ScanArgument = std::variant<std::int64_t, std::string, SigSelArray>;
using ScanArguments = std::vector<ScanArgument>;

class ScanLauncher {
 public:
  virtual ~ScanLauncher() = default;
  // Detaches a scan thread on `volume` with `arguments`; the thread owns the volume's scan data until it
  // reports completion.
  virtual void detach(ScanEntry entry, std::shared_ptr<Volume> volume, ScanArguments arguments) = 0;
  // Starts the search of a whole disk for lost volumes.
  virtual void detachVolumeScan(std::shared_ptr<DMedia> drive) = 0;

  // Told once a scan's thread is over, whatever the scan did: with `volumeScan` true for the search
  // for lost volumes. The controller ends a scan that sent no completion of its own, so a stage that
  // is missing or failed never leaves the progress screen waiting. Runs on the scan's thread.
  using ScanThreadEnded = std::function<void(bool volumeScan)>;
  void setScanThreadEnded(ScanThreadEnded ended) {
    std::lock_guard lock(endedMutex_);
    scanThreadEnded_ = std::move(ended);
  }

 protected:
  void reportScanThreadEnded(bool volumeScan) {
    std::lock_guard lock(endedMutex_);
    if (scanThreadEnded_) scanThreadEnded_(volumeScan);
  }

 private:
  std::mutex endedMutex_;
  ScanThreadEnded scanThreadEnded_;
};

}  // namespace nua
