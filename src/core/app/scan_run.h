// The scan threads' entries: the tree scan and the deleted-file scan, each run on a volume with the
// argument array the wizard built.
#pragma once

#include "app/main_thread_queue.h"
#include "app/repeating_timer.h"
#include "app/scan_launcher.h"
#include "app/scan_progress.h"
#include "volume/volume.h"

namespace nua {

// The tree scans' thread entry. Arguments: [0] "Normal Scan" or "Advanced Scan"; [1] non-zero for a
// signature search after the tree; [2] the signatures; a last "auto" marks a crash-recovery run. The
// sink's tick runs for the whole scan; the scan ends by completing with "Tree Complete".
void startMakingTree(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress);

// The deleted-file scans' thread entry. Arguments: [0] 1 to run the file system part; [1] non-zero for
// a signature search; [2] the signatures; [3] the search method; a crash-recovery run ends in the begin
// position and "auto". Hands the volume to the HFS+ or FAT scan by its content, with the sink's tick
// running around it.
void scanForDeletedFiles(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress);

// The whole-disk search's thread entry. Arguments: [0] the signatures; [1] the method, 0 for the plain
// search and 1 for the one with the file checks (any other runs none); a crash-recovery run ends in the
// begin position and "auto". Ends with "Tree Completed ..." and the finds under the root.
void scanForDeletedFilesDisk(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress);

// The sink's tick for the length of one scan: started here, stopped by stop() or at the latest when
// the scan's frame ends, however it ends.
class TicksDuringScan {
 public:
  explicit TicksDuringScan(ScanRunSink& progress) : progress_(progress) { progress_.startTicks(); }
  ~TicksDuringScan() { stop(); }
  TicksDuringScan(const TicksDuringScan&) = delete;
  TicksDuringScan& operator=(const TicksDuringScan&) = delete;
  void stop() {
    if (running_) progress_.stopTicks();
    running_ = false;
  }

 private:
  ScanRunSink& progress_;
  bool running_ = true;
};

}  // namespace nua
