// The command line's way through the tree screen: mark the entries asked for, switch to the view
// asked for, and save as the desktop program would, with the same questions answered by ui.
#pragma once

#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "save/save_run.h"
#include "view/tree_view_state.h"
#include "volume/volume.h"

namespace nua {

struct RecoverRequest {
  std::string destination;  // made when missing
  // "all", "deleted" (every deleted file), or globs: a glob with "/" matches the path below the
  // root ("docs/*.txt"), one without matches names. Empty means "all".
  std::vector<std::string> select;
  bool fileTypesView = false;
  bool deletedOnly = false;
};

struct RecoverResult {
  bool saved = false;  // false: refused, cancelled, or nothing was marked
  std::string message;  // why nothing was saved, when it was not
  SaveReport report;
};

// Marks through CheckController, in the data view of all entries, what `select` names. Returns the
// number of entries it marked directly (a folder counts once).
std::size_t markSelection(TreeViewState& view, const std::vector<std::string>& select);

// Marks, switches and saves the tree of the volume; progress goes to sink (may be null).
[[nodiscard]] RecoverResult recoverToFolder(Volume& volume, const RecoverRequest& request, UiBridge& ui,
                                            SaveProgressSink* sink);

}  // namespace nua
