// `--save DIR [--select all|deleted|GLOB...] [--view data|types] [--deleted-only]` of `nua-recover
// scan`: read from the words, then run on the scanned volume through the tree screen's own logic.
#pragma once

#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "view/recover_to_folder.h"
#include "volume/volume.h"

namespace nua::cli {

struct SaveOptions {
  bool requested = false;
  RecoverRequest request;
  std::string error;
};


// Takes the save options out of args and returns the words left for the scan. --select takes every
// word up to the next option; when no TARGET is left after that, its last word is the TARGET.
[[nodiscard]] std::vector<std::string> takeSaveOptions(const std::vector<std::string>& args, SaveOptions& save);

// Saves as asked, with progress on standard error; prints the final message and the counts.
// Returns 0 when every marked file was saved, 1 otherwise.
int saveAfterScan(Volume& volume, const SaveOptions& save, UiBridge& ui, bool quiet);

}  // namespace nua::cli
