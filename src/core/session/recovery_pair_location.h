// Where the crash-recovery pair lives: a folder of the user's state ($XDG_STATE_HOME/nua-recovery,
// by default ~/.local/state/nua-recovery), or /var/lib/nua-recovery when running as root. The folder
// is made on demand and must be writable and not on the device being recovered; when it is not, the
// caller is told and the search runs without a pair.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "session/recovery_pair.h"

namespace nua {

inline constexpr const char* kRecoveryPairFolderName = "nua-recovery";
inline constexpr const char* kRecoveryPairRootFolder = "/var/lib/nua-recovery";

struct [[nodiscard]] RecoveryPairFolderResult {
  std::optional<RecoveryPairPaths> paths;
  std::string reason;  // why no pair can be written, when paths is empty
};

// Tells whether writing into a folder would write to the device being recovered.
using FolderOnSourceCheck = std::function<bool(const std::string& folder)>;

class RecoveryPairLocation {
 public:
  virtual ~RecoveryPairLocation() = default;
  // Where a pair would be, for looking at one left behind; nothing is created.
  [[nodiscard]] virtual RecoveryPairPaths paths() const = 0;
  // Makes the folder if needed and checks that a pair can be written there and that it is not on the
  // device of the search about to start (an empty check counts no folder as on it).
  virtual RecoveryPairFolderResult prepareFolder(const FolderOnSourceCheck& onSource) = 0;
};

// The folder by the rules above; getEnvironment answers like std::getenv.
[[nodiscard]] std::string defaultRecoveryPairFolder(const std::function<const char*(const char*)>& getEnvironment,
                                                    bool runningAsRoot);

class StateFolderLocation final : public RecoveryPairLocation {
 public:
  explicit StateFolderLocation(std::string folder);
  // The process's own folder by its environment and user.
  [[nodiscard]] static StateFolderLocation forThisProcess();

  [[nodiscard]] const std::string& folder() const { return folder_; }
  [[nodiscard]] RecoveryPairPaths paths() const override;
  RecoveryPairFolderResult prepareFolder(const FolderOnSourceCheck& onSource) override;

 private:
  std::string folder_;
};

}  // namespace nua
