#include "save/storage_below.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>

#include "save/detail/mount_table.h"

namespace nua {

namespace {

namespace fs = std::filesystem;

std::optional<std::uint64_t> deviceNumberInFile(const fs::path& devFile) {
  std::ifstream in(devFile);
  unsigned int major = 0;
  unsigned int minor = 0;
  char colon = 0;
  if (!(in >> major >> colon >> minor) || colon != ':') return std::nullopt;
  return static_cast<std::uint64_t>(makedev(major, minor));
}

std::optional<FileIdentity> loopBackingFile(const fs::path& blockDir) {
  std::ifstream in(blockDir / "loop" / "backing_file");
  std::string path;
  if (!std::getline(in, path) || path.empty()) return std::nullopt;
  // A backing file removed since shows as "path (deleted)"; its inode still matches below if open.
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.size() > kDeleted.size() && path.compare(path.size() - kDeleted.size(), kDeleted.size(), kDeleted) == 0) {
    path.resize(path.size() - kDeleted.size());
  }
  FileIdentity identity;
  identity.path = path;
  struct stat info {};
  if (::stat(path.c_str(), &info) == 0) {
    identity.deviceNumber = info.st_dev;
    identity.inodeNumber = info.st_ino;
  }
  return identity;
}

}  // namespace

StorageBelow storageBelowFromSystem(std::uint64_t deviceNumber) {
  StorageBelow below;
  std::error_code error;
  const fs::path entry = "/sys/dev/block/" + std::to_string(major(deviceNumber)) + ":" + std::to_string(minor(deviceNumber));
  const fs::path real = fs::canonical(entry, error);
  if (error) {
    // No block device of its own: the mount says which device it came from.
    const std::optional<detail::Mount> mount = detail::mountOfDevice(detail::currentMounts(), deviceNumber);
    struct stat info {};
    if (mount && mount->source.starts_with("/") && ::stat(mount->source.c_str(), &info) == 0 &&
        S_ISBLK(info.st_mode) && info.st_rdev != deviceNumber) {
      below.devices.push_back(info.st_rdev);
    }
    return below;
  }
  if (fs::exists(real / "partition", error)) {
    if (auto disk = deviceNumberInFile(real.parent_path() / "dev")) below.devices.push_back(*disk);
  }
  for (const auto& member : fs::directory_iterator(real / "slaves", error)) {
    if (auto device = deviceNumberInFile(member.path() / "dev")) below.devices.push_back(*device);
  }
  below.backingFile = loopBackingFile(real);
  return below;
}

}  // namespace nua
