#include "app/thread_scan_launcher.h"

#include <exception>

#include "lostvolume/lost_volume_scan.h"
#include "volume/volume.h"

namespace nua {

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
      // A broken invariant or exhausted memory in one scan ends that scan, not the program.
      try {
        function(*volume, arguments);
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

void ThreadScanLauncher::detachVolumeScan(std::shared_ptr<DMedia> drive) {
  join();  // one scan at a time
  const std::uint64_t scanNumber = numberNextScan();
  if (!drive) {  // nothing to search: the search ends at once, with no volumes
    reportScanThreadEnded(scanNumber, true);
    return;
  }
  running_ = true;
  thread_ = std::thread([this, scanNumber, drive = std::move(drive)] {
    // The lists travel to the controller inside the progress dictionaries, copied, so the two
    // threads never share them.
    std::vector<PartitionRow> foundVolumes;
    std::vector<Dict> volumeScanFoundArray;
    try {
      LostVolumeScan(*drive, volumeScanObserver()).initializeForVolumeThoroughScan(foundVolumes, volumeScanFoundArray);
    } catch (const std::exception& failure) {
      ui_.runAlertPanel({"!Can not process", std::string("The search for lost volumes failed: ") + failure.what(), {"OK"}});
    }
    running_ = false;
    reportScanThreadEnded(scanNumber, true);
  });
}

}  // namespace nua
