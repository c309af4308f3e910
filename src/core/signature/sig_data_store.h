// Where the signature data files live: the copies that ship with the program, and the user's own
// copies in $XDG_DATA_HOME/nua-recovery/, which adding, removing and resizing rewrite.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "signature/sig_archive.h"

namespace nua {

struct SigDataPaths {
  std::filesystem::path userDir;                   // read and written; created on first use
  std::vector<std::filesystem::path> shippedDirs;  // read only, first existing file wins
};

class SigDataStore {
 public:
  explicit SigDataStore(SigDataPaths paths) : paths_(std::move(paths)) {}

  // The user's directory from XDG_DATA_HOME (else $HOME/.local/share), and the shipped copies
  // beside the installed program, in the install prefix and in the build tree.
  [[nodiscard]] static SigDataPaths standardPaths();

  // "Sig_FR", "Sig_PR", "Sig_AL" by scan mode 0-1, 2-3, 4-5; nothing for any other mode.
  [[nodiscard]] static std::optional<std::string> mainFileName(int scanMode);
  [[nodiscard]] static std::optional<std::string> backupFileName(int scanMode);

  // Reads "<name>.dat" from the user's directory, first copying the shipped file there when the
  // user has none. A missing or damaged file gives a reason and no nodes.
  [[nodiscard]] SigRootResult read(const std::string& name);
  // Replaces "<name>.dat" in the user's directory through a temporary file and a rename, so a
  // failed write never leaves half a catalog. False when it could not be written.
  [[nodiscard]] bool write(const std::string& name, const SigRootArray& root);

  [[nodiscard]] std::filesystem::path userFile(const std::string& name) const;
  [[nodiscard]] const SigDataPaths& paths() const { return paths_; }

 private:
  void copyShippedOnFirstUse(const std::string& name);
  SigDataPaths paths_;
};

}  // namespace nua
