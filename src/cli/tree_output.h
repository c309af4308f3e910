// What `nua-recover scan` and `nua-recover open` share: alerts on standard error, and a result tree
// printed as JSON Lines with a summary, or as an indented list with the totals.
#pragma once

#include <cstdio>
#include <string>

#include "base/ui_bridge.h"
#include "records/entry.h"
#include "app/wizard_controller.h"  // Volume, the controller's selected volume

namespace nua::cli {

// Alerts as "title: text" lines on standard error, answered with the first button.
class StderrUiBridge : public UiBridge {
 public:
  int runAlertPanel(const Alert& alert) override {
    // Quiet runs show errors only: their titles begin with "!".
    if (quiet && alert.title.rfind('!', 0) != 0) return 0;
    std::fprintf(stderr, "%s%s: %s\n", atLineStart ? "" : "\n", alert.title.c_str(), alert.text.c_str());
    atLineStart = true;
    return 0;
  }
  void terminateApp() override { std::fprintf(stderr, "nua-recover: the source is no longer available\n"); }
  void previewClose() override {}
  bool atLineStart = true;
  bool quiet = false;
};

struct TreeOutput {
  bool json = false;
  bool list = false;
  std::string treeTotal;  // "%@ in %@ Files"
  std::string note;       // the completion note, empty when none was shown
};

// Prints the tree below root (parents before children) and the volume's counts as asked.
void printTree(const Entry* root, const Volume& volume, const TreeOutput& output);

}  // namespace nua::cli
