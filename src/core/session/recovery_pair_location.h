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

class RecoveryPairLocation {
 public:
  virtual ~RecoveryPairLocation() = default;
  // Where a pair would be, for looking at one left behind; nothing is created.
  [[nodiscard]] virtual RecoveryPairPaths paths() const = 0;
  // Makes the folder if needed and checks that a pair can be written there.
  virtual RecoveryPairFolderResult prepareFolder() = 0;
};

// The folder by the rules above; getEnvironment answers like std::getenv.
[[nodiscard]] std::string defaultRecoveryPairFolder(const std::function<const char*(const char*)>& getEnvironment,
                                                    bool runningAsRoot);

// Tells whether writing into a folder would write to the device being recovered.
using FolderOnSourceCheck = std::function<bool(const std::string& folder)>;

class StateFolderLocation final : public RecoveryPairLocation {
 public:
  // An empty onSource check counts no folder as on the source.
  StateFolderLocation(std::string folder, FolderOnSourceCheck onSource);
  // The process's own folder by its environment and user.
  [[nodiscard]] static StateFolderLocation forThisProcess(FolderOnSourceCheck onSource);

  [[nodiscard]] RecoveryPairPaths paths() const override;
  RecoveryPairFolderResult prepareFolder() override;

 private:
  std::string folder_;
  FolderOnSourceCheck onSource_;
};

}  // namespace nua
