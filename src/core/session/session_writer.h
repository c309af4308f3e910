// Writing a recovery session: the header area, the volume and scan settings, the first sectors and
// the tree, into a temporary file beside the target that is renamed into place once complete.
#pragma once

#include <cstdint>
#include <string>

#include "session/session_file.h"
#include "records/entry.h"

namespace nua {

struct [[nodiscard]] SessionWriteResult {
  bool ok = false;
  std::string error;  // why nothing was written under the target's name
};

// Writes contents and the whole tree below dirRoot to path.
// scanInfoEntryCount goes up by one per entry and is not reset, as a second save goes on counting.
// A write that fails (full disk, no folder, a target that is the scanned source itself) leaves no
// file under path and any earlier file there untouched.
SessionWriteResult saveScanInfo(const std::string& path, const SessionContents& contents, const Entry* dirRoot,
                                std::uint32_t& scanInfoEntryCount, SessionProgress* progress);

// The children of dir that a session holds: every child, whichever list they stand in while the
// deleted-only arrangement has the two lists swapped.
[[nodiscard]] const std::vector<Entry*>& allChildrenOfDir(const Entry* dir);

}  // namespace nua
