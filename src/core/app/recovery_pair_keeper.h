// Keeps the crash-recovery pair for the controller: the wizard's choices taken when a scan starts, the
// pair written just before each signature search with the appender and position sink the search gets,
// and the pair removed when the search's clean-up begins.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/signature_search_recovery.h"
#include "media/rows.h"
#include "session/recovery_pair.h"
#include "session/recovery_pair_location.h"
#include "volume/volume.h"

namespace nua {

class RecoveryPairKeeper {
 public:
  RecoveryPairKeeper() = default;
  ~RecoveryPairKeeper();
  RecoveryPairKeeper(const RecoveryPairKeeper&) = delete;
  RecoveryPairKeeper& operator=(const RecoveryPairKeeper&) = delete;

  // Where pairs go from now on; null keeps none. The caller keeps the location alive.
  void setLocation(RecoveryPairLocation* location);
  [[nodiscard]] RecoveryPairLocation* location() const;

  // On the main thread, before the scan thread starts. `doneLists` are the MP3 and MPEG lists the
  // search starts with: those read back on a resume, empty otherwise.
  // `state` is the wizard's part as it stood then; its pointers and lists are filled at the search's start.
  void scanStarting(RecoveryPairState state, std::vector<std::uint64_t> mp3DoneArray,
                    std::vector<std::uint64_t> mpgDoneArray);

  struct Started {
    SignatureSearchRecovery recovery;
    std::string error;  // why no pair stands; the search runs without one
    std::optional<RecoveryPairPaths> pair;  // the pair written, when one was
  };
  // On the scan thread just before the search: writes the pair for `volume` and opens the sinks the
  // search records into. Without a location nothing is written and nothing is an error. A folder
  // `onSource` calls on the searched device gets no pair: writing it could overwrite what is sought.
  [[nodiscard]] Started searchStarting(const Volume& volume, const FolderOnSourceCheck& onSource);
  // On the scan thread when the clean-up begins: the sinks are closed and the pair removed.
  void cleanUp();

 private:
  void releaseLock();

  mutable std::mutex mutex_;
  RecoveryPairLocation* location_ = nullptr;
  RecoveryPairState state_;
  std::vector<std::uint64_t> mp3DoneArray_, mpgDoneArray_;
  std::unique_ptr<RecoveryPairPaths> written_;
  std::unique_ptr<RecoveryRecordAppender> records_;
  std::unique_ptr<RecoveryResumePosition> positions_;
  int lockFd_ = -1;  // held from the pair's writing to its removal
};

// Beside the pair while a search keeps it; the lock, not the file, is what counts.
inline constexpr const char* kRecoveryPairLockName = "search.lock";
// Whether a running search holds the pair in these paths' folder (so it is no crash's leftover).
[[nodiscard]] bool recoveryPairInUse(const RecoveryPairPaths& paths);

}  // namespace nua
