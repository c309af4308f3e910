// Runs each scan entry on a thread of its own. The scan engines plug their entries in as they are
// built; an entry that has none yet reports so and ends as a finished, empty scan.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <thread>

#include "app/scan_launcher.h"
#include "base/ui_bridge.h"

namespace nua {

class ThreadScanLauncher : public ScanLauncher {
 public:
  // An entry runs the scan on the volume and reports to the sink it is handed.
  using EntryFunction = std::function<void(Volume&, const ScanArguments&, ScanRunSink&)>;
  // `finished` runs on the scan thread once the entry returns.
  ThreadScanLauncher(UiBridge& ui, std::function<void(ScanEntry)> finished);
  ~ThreadScanLauncher() override;  // waits for a running scan

  void setEntry(ScanEntry entry, EntryFunction function) { entries_[entry] = std::move(function); }
  void detach(ScanEntry entry, std::shared_ptr<Volume> volume, ScanArguments arguments) override;
  void detachVolumeScan(std::shared_ptr<MediaReader> drive) override;
  // Waits for the scan thread, if one runs.
  void join();
  // True from a detach until the scan thread's last step: a headless caller serves its main thread
  // until then, as the thread's last sends wait for it.
  [[nodiscard]] bool running() const { return running_; }

 private:
  UiBridge& ui_;
  std::function<void(ScanEntry)> finished_;
  std::map<ScanEntry, EntryFunction> entries_;
  std::thread thread_;
  std::atomic<bool> running_{false};
};

}  // namespace nua
