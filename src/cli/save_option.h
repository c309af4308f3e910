// `--save DIR [--select all|deleted|find:TEXT|GLOB...] [--view data|types] [--deleted-only]` and
// `--find TEXT` of `nua-recover scan` and `open`: read from the words, then run on the scanned volume through the tree screen's own logic.
#pragma once

#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "save/recover_to_folder.h"
#include "app/wizard_controller.h"  // Volume, the controller's selected volume

namespace nua::cli {

struct SaveOptions {
  bool requested = false;
  RecoverRequest request;
  std::vector<std::string> find;  // --find TEXT: the hits are printed after the tree
  std::string error;
};


// Takes the save options out of args and returns the words left for the scan. --select takes every
// word up to the next option; when no TARGET is left after that, its last word is the TARGET.
[[nodiscard]] std::vector<std::string> takeSaveOptions(const std::vector<std::string>& args, SaveOptions& save);

// Prints the hits of each --find text in the data view of all entries: "%@ Matches Found", then one
// path below the root a line.
void printFindHits(Volume& volume, const SaveOptions& save);

// Saves as asked, with progress on standard error; prints the final message and the counts.
// Returns 0 when every marked file was saved, 1 otherwise.
int saveAfterScan(Volume& volume, const SaveOptions& save, UiBridge& ui, bool quiet);

}  // namespace nua::cli
