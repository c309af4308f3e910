// The run of a scan as the wizard sees it: the start of the scan thread with its argument array,
// stop and abort, the end of a scan (with or without a tree), the tree shown, and the result freed.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace nua {

class WizardController;

class ScanRunner {
 public:
  explicit ScanRunner(WizardController& controller) : controller_(controller) {}
  ScanRunner(const ScanRunner&) = delete;
  ScanRunner& operator=(const ScanRunner&) = delete;

  // "Raw slider"'s Next, and the start of every scan: the status line, the start time, the range
  // check and the range. `resume` stands for the string-typed sender of a crashed-scan resume.
  void rawSliderNextClicked(bool resume);
  // Stop button: shows the abort question; the scan goes on meanwhile.
  void stopTreeThread();
  // The question's answers.
  void abortTreeThread();
  void dontAbortTreeThread();
  // Shows the finished tree, its total and the completion note. A scan that ended without a tree
  // leaves "Progress" for the list its volume came from.
  void showTree();
  // A scan's thread is over (from the launcher, on that thread). One that sent no completion of its
  // own, because its stage is missing or failed, is ended here as one without a tree.
  void scanThreadEnded(std::uint64_t scanNumber, bool volumeScan);
  // The way back after a scan that left no tree: the list the volume came from, the result freed.
  void backToListWithoutTree();
  // Ends the result on a thread of its own; `rebuildDriveList` loads the drive list again after.
  void freeTree(bool rebuildDriveList);
  void releaseSelectedVolume();
  // Waits for a freeTree thread, if one runs.
  void joinFreeTree();

 private:
  // The thread entry and argument array for rawSearchMode, and the thread started.
  void startScan(bool resume);
  void endScanWithoutCompletion(bool volumeScan);

  WizardController& controller_;
  std::thread freeTreeThread_;
  std::atomic<bool> freeTreeDone_{true};
};

}  // namespace nua
