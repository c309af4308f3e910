// A headless run of the wizard: from a goal, a target and the choices on each screen, the screens
// that would be shown and the scan that would start. The decision is the controller's own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/scan_launcher.h"
#include "base/dict.h"
#include "base/ui_bridge.h"

namespace nua {

struct WizardPlanRequest {
  int scanMode = 0;                     // 0 to 5
  int volumeScanType = 2;               // target: 2 volume, 3 disk, 0 partition, 1 lost volume
  std::string content = "Apple_HFS";    // "Content" of the volume or partition
  bool fileSystemRecovery = true;       // "supportFileSystemRecovery" of a volume
  bool signaturesNext = true;           // Next (all types marked) or Skip on "Signatures"
  bool advancedTreeScan = false;        // on "Tree scan mode"
  bool rawBox = false;                  // the raw-search check box
  float rangeStart = 0.0f, rangeEnd = 100.0f;
};

struct WizardPlanResult {
  std::vector<std::string> screens;     // tab identifiers shown after the drive list's Next
  int rawSearchMode = 0;
  std::string entry = "none";           // thread entry, or "none"
  DictArray args;                       // the argument array; the signature list as "sigSelArray"
  std::vector<Alert> alerts;
  std::vector<std::string> notes;       // where the plan could not do what was asked
  [[nodiscard]] bool scanStarts() const { return entry != "none"; }
  [[nodiscard]] Dict toDict() const;
};

[[nodiscard]] WizardPlanResult runWizardPlan(const WizardPlanRequest& request);

// An argument array as a plan shows it: numbers and strings as they are, the signatures as "sigSelArray".
[[nodiscard]] DictArray plannedArguments(const ScanArguments& arguments);

}  // namespace nua
