// Reading a recovery session: the header check that comes before anything else, and the whole file
// into a fresh tree. Nothing read is trusted; a file that is cut short, damaged or foreign gives a
// reason and no tree at all.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "session/session_file.h"
#include "records/entry_arena.h"

namespace nua {

enum class SessionHeaderStatus {
  kComplete,    // status "Complete" and our identity
  kIncomplete,  // the status is not "Complete" (a writer that died, or not a session at all)
  kForeign,     // complete, with another identity text (in `identity`)
  kDamaged,     // complete, but the identity blob cannot be read
};

struct SessionHeaderCheck {
  SessionHeaderStatus status = SessionHeaderStatus::kIncomplete;
  std::string identity;  // the identity text found, for kForeign
  std::string reason;    // what was wrong, for kIncomplete and kDamaged
};

// The checks made before the tree is read: the status blob, then the identity blob.
[[nodiscard]] SessionHeaderCheck checkSessionHeader(const std::string& path);

struct SessionData {
  SessionContents contents;  // contents.volume is the Volume as stored, with nothing else made
  std::shared_ptr<EntryArena> arena;
  Entry* root = nullptr;    // the tree as read: the stored root record with its children
  std::uint8_t rootSelected = 0;
  std::uint32_t scanInfoEntryCount = 0;  // entries read
};

struct [[nodiscard]] SessionReadResult {
  std::optional<SessionData> data;
  std::string reason;  // why the file was refused, when data is empty
  [[nodiscard]] bool ok() const { return data.has_value(); }
};

// Reads the volume, the settings, the first sectors and the
// tree. Every count, length and identity is checked against the file's size and what came before;
// the tree must end exactly at the end of the file.
SessionReadResult readScanInfo(const std::string& path, SessionProgress* progress);

}  // namespace nua
