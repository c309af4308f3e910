#include "app/thread_scan_launcher.h"

#include <exception>

#include "app/scan_progress.h"
#include "app/volume_scan_progress.h"
#include "lostvolume/lost_volume_scan.h"
#include "volume/volume.h"

namespace nua {
namespace {

// The sinks a scan thread is handed look up the sink set at each call: once the controller has gone,
// the rest of a scan still running reports to nobody instead of to freed memory.
class CurrentScanSink final : public ScanRunSink {
 public:
  explicit CurrentScanSink(const std::atomic<ScanRunSink*>& sink) : sink_(sink) {}
  void report(const ScanProgress& progress) override { current().report(progress); }
  [[nodiscard]] bool tickPending() const override { return current().tickPending(); }
  void offerForTick(const ScanProgress& progress) override { current().offerForTick(progress); }
  void alert(const Alert& alert) override { current().alert(alert); }
  void abandonScan() override { current().abandonScan(); }
  void startTicks() override { current().startTicks(); }
  void stopTicks() override { current().stopTicks(); }
  void complete(const ScanProgress& last) override { current().complete(last); }
  SignatureSearchRecovery signatureSearchStarting(Volume& volume) override {
    return current().signatureSearchStarting(volume);
  }
  void signatureSearchCleanUp() override { current().signatureSearchCleanUp(); }

 private:
  [[nodiscard]] ScanRunSink& current() const {
    ScanRunSink* sink = sink_;
    return sink != nullptr ? *sink : ScanRunSink::none();
  }
  const std::atomic<ScanRunSink*>& sink_;
};

class CurrentSearchSink final : public VolumeSearchRunSink {
 public:
  explicit CurrentSearchSink(const std::atomic<VolumeSearchRunSink*>& sink) : sink_(sink) {}
  void report(const VolumeSearchProgress& progress) override {
    if (VolumeSearchRunSink* sink = sink_) sink->report(progress);
  }
  [[nodiscard]] bool sweepOfferPending() const override {
    VolumeSearchRunSink* sink = sink_;
    return sink != nullptr && sink->sweepOfferPending();
  }
  void offerSweepPosition(const VolumeSearchProgress& progress) override {
    if (VolumeSearchRunSink* sink = sink_) sink->offerSweepPosition(progress);
  }
  void startTicks() override {
    if (VolumeSearchRunSink* sink = sink_) sink->startTicks();
  }
  void stopTicks() override {
    if (VolumeSearchRunSink* sink = sink_) sink->stopTicks();
  }
  void searchComplete(std::vector<PartitionRow> foundVolumes) override {
    if (VolumeSearchRunSink* sink = sink_) sink->searchComplete(std::move(foundVolumes));
  }

 private:
  const std::atomic<VolumeSearchRunSink*>& sink_;
};

}  // namespace

ThreadScanLauncher::ThreadScanLauncher(UiBridge& ui, std::function<void(ScanEntry)> finished)
    : ui_(ui), finished_(std::move(finished)) {}

ThreadScanLauncher::~ThreadScanLauncher() { join(); }

void ThreadScanLauncher::join() {
  if (thread_.joinable()) thread_.join();
}

void ThreadScanLauncher::detach(ScanEntry entry, std::shared_ptr<Volume> volume, ScanArguments arguments) {
  join();  // one scan at a time
  auto it = entries_.find(entry);
  EntryFunction function = it == entries_.end() ? EntryFunction{} : it->second;
  const std::uint64_t scanNumber = numberNextScan();
  thread_ = std::thread([this, entry, function, scanNumber, volume = std::move(volume), arguments = std::move(arguments)] {
    if (function) {
      CurrentScanSink progress(progressSink_);
      // A broken invariant or exhausted memory in one scan ends that scan, not the program.
      try {
        function(*volume, arguments, progress);
      } catch (const std::exception& failure) {
        ui_.runAlertPanel({"!Can not process",
                           std::string("The scan \"") + scanEntryName(entry) + "\" failed: " + failure.what(), {"OK"}});
      }
    } else {
      ui_.runAlertPanel({"!Can not process",
                         std::string("The scan \"") + scanEntryName(entry) + "\" is not built yet.", {"OK"}});
    }
    if (finished_) finished_(entry);
    reportScanThreadEnded(scanNumber, false);
  });
}

void ThreadScanLauncher::detachVolumeScan(std::shared_ptr<MediaReader> drive) {
  join();  // one scan at a time
  const std::uint64_t scanNumber = numberNextScan();
  if (!drive) {  // nothing to search: the search ends at once, with no volumes
    reportScanThreadEnded(scanNumber, true);
    return;
  }
  running_ = true;
  thread_ = std::thread([this, scanNumber, drive = std::move(drive)] {
    // The lists travel to the controller as copies, so the two threads never share them.
    std::vector<PartitionRow> foundVolumes;
    std::vector<Dict> volumeScanFoundArray;
    bool searched = false;
    CurrentSearchSink sink(volumeSearchSink_);
    sink.startTicks();
    try {
      LostVolumeScan(*drive, sink).initializeForVolumeThoroughScan(foundVolumes, volumeScanFoundArray);
      searched = true;
    } catch (const std::exception& failure) {
      ui_.runAlertPanel({"!Can not process", std::string("The search for lost volumes failed: ") + failure.what(), {"OK"}});
    }
    // The tick stops first: once the list is shown the user may start the next scan at once, which
    // waits for this thread, so nothing may wait on the main thread after it.
    sink.stopTicks();
    if (searched) sink.searchComplete(std::move(foundVolumes));
    running_ = false;
    reportScanThreadEnded(scanNumber, true);
  });
}

}  // namespace nua
