// Reading and writing the signature data files, with the first-use copy from the shipped set.
#include "signature/sig_data_store.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace nua {
namespace {

constexpr std::uintmax_t kMaxDataFileBytes = 64u << 20;  // a catalog is a few kilobytes

std::optional<std::vector<std::byte>> slurp(const std::filesystem::path& path, std::string& reason) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  if (error) {
    reason = path.string() + ": " + error.message();
    return std::nullopt;
  }
  if (size > kMaxDataFileBytes) {
    reason = path.string() + ": larger than any signature data file";
    return std::nullopt;
  }
  std::ifstream in(path, std::ios::binary);
  std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.good() && !in.eof()) {
    reason = path.string() + ": read failed";
    return std::nullopt;
  }
  std::vector<std::byte> bytes(chars.size());
  for (std::size_t i = 0; i < chars.size(); ++i) bytes[i] = static_cast<std::byte>(chars[i]);
  return bytes;
}

}  // namespace

SigDataPaths SigDataStore::standardPaths() {
  SigDataPaths paths;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg != nullptr && *xdg == '/') {
    paths.userDir = std::filesystem::path(xdg) / "nua-recovery";
  } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    paths.userDir = std::filesystem::path(home) / ".local/share/nua-recovery";
  } else {
    paths.userDir = std::filesystem::temp_directory_path() / "nua-recovery";
  }
  std::error_code error;
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) paths.shippedDirs.push_back(exe.parent_path().parent_path() / "share/nua-recovery");
#ifdef NUA_SIG_INSTALL_DATA_DIR
  paths.shippedDirs.emplace_back(NUA_SIG_INSTALL_DATA_DIR);
#endif
#ifdef NUA_SIG_BUILD_DATA_DIR
  paths.shippedDirs.emplace_back(NUA_SIG_BUILD_DATA_DIR);
#endif
  return paths;
}

std::optional<std::string> SigDataStore::mainFileName(int scanMode) {
  if (scanMode == 0 || scanMode == 1) return "Sig_FR";
  if (scanMode == 2 || scanMode == 3) return "Sig_PR";
  if (scanMode == 4 || scanMode == 5) return "Sig_AL";
  return std::nullopt;
}

std::optional<std::string> SigDataStore::backupFileName(int scanMode) {
  auto name = mainFileName(scanMode);
  if (name) *name += "_backup";
  return name;
}

std::filesystem::path SigDataStore::userFile(const std::string& name) const { return paths_.userDir / (name + ".dat"); }

void SigDataStore::copyShippedOnFirstUse(const std::string& name) {
  if (paths_.userDir.empty()) return;
  std::error_code error;
  if (std::filesystem::exists(userFile(name), error)) return;
  for (const auto& dir : paths_.shippedDirs) {
    const auto shipped = dir / (name + ".dat");
    if (!std::filesystem::is_regular_file(shipped, error)) continue;
    std::filesystem::create_directories(paths_.userDir, error);
    std::filesystem::copy_file(shipped, userFile(name), error);
    return;
  }
}

SigRootResult SigDataStore::read(const std::string& name) {
  copyShippedOnFirstUse(name);
  std::string reason;
  auto bytes = slurp(userFile(name), reason);
  if (!bytes) {
    // A user directory that can't be written still lets the shipped catalog be shown.
    for (const auto& dir : paths_.shippedDirs) {
      std::error_code error;
      if (!std::filesystem::exists(userFile(name), error) && std::filesystem::is_regular_file(dir / (name + ".dat"), error)) {
        std::string ignored;
        bytes = slurp(dir / (name + ".dat"), ignored);
        if (bytes) break;
      }
    }
  }
  if (!bytes) return {std::nullopt, reason};
  return decodeSigRootArray(*bytes);
}

bool SigDataStore::write(const std::string& name, const SigRootArray& root) {
  // A store without a user directory keeps nothing: it must not write beside the working directory.
  if (paths_.userDir.empty()) return false;
  std::error_code error;
  std::filesystem::create_directories(paths_.userDir, error);
  const auto bytes = encodeSigRootArray(root);
  const auto target = userFile(name);
  auto temporary = target;
  temporary += ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out) {
      out.close();
      std::filesystem::remove(temporary, error);
      return false;
    }
  }
  std::filesystem::rename(temporary, target, error);
  if (!error) return true;
  std::filesystem::remove(temporary, error);
  return false;
}

}  // namespace nua
