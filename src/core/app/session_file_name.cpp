#include "app/session_file_name.h"

#include <filesystem>

#include "session/session_file.h"

namespace nua {

bool isSessionFileName(const std::string& path) {
  return std::filesystem::path(path).extension() == std::string(".") + kScanInfoFileExtension;
}

}  // namespace nua
