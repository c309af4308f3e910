// The hand-over from the wizard to a scan thread: one entry, one receiver, one argument array.
#pragma once

#include <atomic>
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
class MediaReader;
class ScanRunSink;
class VolumeSearchRunSink;

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
  virtual void detachVolumeScan(std::shared_ptr<MediaReader> drive) = 0;

  // Told once a scan's thread is over, whatever the scan did, with the scan's number and with
  // `volumeScan` true for the search for lost volumes. The controller ends a scan that sent no
  // completion of its own, so a stage that is missing or failed never leaves the progress screen
  // waiting. Runs on the scan's thread.
  using ScanThreadEnded = std::function<void(std::uint64_t scanNumber, bool volumeScan)>;
  void setScanThreadEnded(ScanThreadEnded ended) {
    std::lock_guard lock(endedMutex_);
    scanThreadEnded_ = std::move(ended);
  }
  // Where the scans started from now on report their progress; null shows nothing.
  void setProgressSink(ScanRunSink* sink) { progressSink_ = sink; }
  // The same for the searches for lost volumes.
  void setVolumeSearchSink(VolumeSearchRunSink* sink) { volumeSearchSink_ = sink; }
  // The number of the scan started last: an end told for an older one concerns no running scan.
  [[nodiscard]] std::uint64_t lastScanNumber() const { return scansStarted_; }

 protected:
  // Numbers a scan; called by `detach` once the previous scan's thread is over, before the new starts.
  std::uint64_t numberNextScan() { return ++scansStarted_; }
  void reportScanThreadEnded(std::uint64_t scanNumber, bool volumeScan) {
    std::lock_guard lock(endedMutex_);
    if (scanThreadEnded_) scanThreadEnded_(scanNumber, volumeScan);
  }

 private:
  std::mutex endedMutex_;
  ScanThreadEnded scanThreadEnded_;
  std::atomic<std::uint64_t> scansStarted_{0};

 protected:
  std::atomic<ScanRunSink*> progressSink_{nullptr};
  std::atomic<VolumeSearchRunSink*> volumeSearchSink_{nullptr};
};

}  // namespace nua
