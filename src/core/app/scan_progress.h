// The progress screen of a scan as a model the front ends draw, and the one place a scan's typed
// progress becomes what that screen shows.
#pragma once

#include <cstdint>
#include <string>

#include "app/signature_search_recovery.h"
#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua {

struct ProgressScreen {
  std::string timeRemaining;
  std::string percentDone;    // "Overall Progress: %@%@"
  std::string completed;      // "Completed: %@ / %@", else " "
  std::string status;         // mainScanStatus, or "%@ - %@" with the scan's own status
  std::string entriesFound, folders, files;
  std::string data;           // size text
  bool barIndeterminate = false;
  bool barAnimating = false;
  double barMinValue = 0.0, barMaxValue = 0.0, barDoubleValue = 0.0;
  std::string treeTotal;      // "%@ in %@ Files" once the tree is shown
  // The completed size as numbers, both 0 while the last update gave none (a speed needs them).
  std::uint64_t sizeDoneBytes = 0, totalSizeBytes = 0;
};

// Applies every part of an update except treeComplete, which the controller handles last.
void applyScanProgress(const ScanProgress& update, const std::string& mainScanStatus, ProgressScreen& screen);

// What the scan runner needs of the screen besides the engines' sink: the once-a-second tick that
// shows offered updates, running from the scan's start to its end, and the scan's last update.
class ScanRunSink : public ProgressSink {
 public:
  virtual void startTicks() = 0;
  // Stops the tick and drops an offered update not yet shown.
  virtual void stopTicks() = 0;
  // The scan's last update: shown after everything reported before it; the scan doesn't wait for it.
  virtual void complete(const ScanProgress& last) = 0;
  // Told on the scan thread just before a signature search of `volume` begins, while its tree stands
  // still: keeps the crash-recovery pair and says where the search records what a resume needs. The
  // default keeps nothing.
  virtual SignatureSearchRecovery signatureSearchStarting(Volume& /*volume*/) { return {}; }
  // Told on the scan thread when the search's clean-up begins, after its end or a stop.
  virtual void signatureSearchCleanUp() {}

  // A runner's sink that shows nothing, for scans run without a screen.
  [[nodiscard]] static ScanRunSink& none();
};

}  // namespace nua
