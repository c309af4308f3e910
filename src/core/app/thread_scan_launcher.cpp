#include "app/thread_scan_launcher.h"

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
  thread_ = std::thread([this, entry, function, volume = std::move(volume), arguments = std::move(arguments)] {
    if (function) {
      function(*volume, arguments);
    } else {
      ui_.runAlertPanel({"!Can not process",
                         std::string("The scan \"") + scanEntryName(entry) + "\" is not built yet.", {"OK"}});
    }
    if (finished_) finished_(entry);
  });
}

void ThreadScanLauncher::detachVolumeScan(std::shared_ptr<DMedia> drive) {
  join();  // one scan at a time
  running_ = true;
  thread_ = std::thread([this, drive = std::move(drive)] {
    // The lists travel to the controller inside the progress dictionaries, copied, so the two
    // threads never share them.
    std::vector<Dict> partitionScanListDictArray;
    std::vector<Dict> volumeScanFoundArray;
    LostVolumeScan(*drive, volumeScanObserver()).initializeForVolumeThoroughScan(partitionScanListDictArray,
                                                                                 volumeScanFoundArray);
    running_ = false;
  });
}

}  // namespace nua
