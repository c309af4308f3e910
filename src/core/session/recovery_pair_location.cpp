#include "session/recovery_pair_location.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace nua {

std::string defaultRecoveryPairFolder(const std::function<const char*(const char*)>& getEnvironment,
                                      bool runningAsRoot) {
  if (runningAsRoot) return kRecoveryPairRootFolder;
  // A relative XDG value is invalid and ignored, as the base directory rules require.
  const char* state = getEnvironment("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return (std::filesystem::path(state) / kRecoveryPairFolderName).string();
  const char* home = getEnvironment("HOME");
  const std::filesystem::path base = home != nullptr && home[0] != '\0' ? home : "/tmp";
  return (base / ".local" / "state" / kRecoveryPairFolderName).string();
}

StateFolderLocation::StateFolderLocation(std::string folder) : folder_(std::move(folder)) {}

StateFolderLocation StateFolderLocation::forThisProcess() {
  return StateFolderLocation(
      defaultRecoveryPairFolder([](const char* name) { return std::getenv(name); }, ::geteuid() == 0));
}

RecoveryPairPaths StateFolderLocation::paths() const { return RecoveryPairPaths::inFolder(folder_); }

RecoveryPairFolderResult StateFolderLocation::prepareFolder(const FolderOnSourceCheck& onSource) {
  RecoveryPairFolderResult result;
  std::error_code error;
  std::filesystem::create_directories(folder_, error);
  struct stat st{};
  if (::stat(folder_.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    result.reason = "cannot create the folder " + folder_ + (error ? ": " + error.message() : std::string());
    return result;
  }
  // The pair describes the user's drives and finds: keep it to the user.
  if (st.st_uid == ::geteuid()) ::chmod(folder_.c_str(), 0700);
  if (onSource && onSource(folder_)) {
    result.reason = "the folder " + folder_ + " is on the drive being recovered";
    return result;
  }
  // Access rules alone don't tell a read-only mount or a full disk; a real file does.
  std::string probe = (std::filesystem::path(folder_) / ".nua-write-test.XXXXXX").string();
  const int fd = ::mkstemp(probe.data());
  if (fd < 0) {
    result.reason = "cannot write in the folder " + folder_ + ": " + std::strerror(errno);
    return result;
  }
  ::close(fd);
  ::unlink(probe.c_str());
  result.paths = paths();
  return result;
}

}  // namespace nua
