#include "view/destination_check.h"

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

namespace nua {

namespace {

constexpr unsigned long kHfsPlusMagic = 0x482b;
constexpr unsigned long kHfsMagic = 0x4244;

std::optional<std::uint64_t> deviceNumberInFile(const std::filesystem::path& devFile) {
  std::ifstream in(devFile);
  unsigned int major = 0;
  unsigned int minor = 0;
  char colon = 0;
  if (!(in >> major >> colon >> minor) || colon != ':') return std::nullopt;
  return static_cast<std::uint64_t>(makedev(major, minor));
}

}  // namespace

DestinationFacts probeDestination(const std::string& path) {
  DestinationFacts facts;
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return facts;
  facts.exists = true;
  facts.deviceNumber = info.st_dev;
  facts.inodeNumber = info.st_ino;
  struct statvfs space {};
  if (::statvfs(path.c_str(), &space) == 0) {
    facts.freeBytes = static_cast<std::uint64_t>(space.f_bavail) * static_cast<std::uint64_t>(space.f_frsize);
  }
  struct statfs system {};
  if (::statfs(path.c_str(), &system) == 0) {
    facts.fileSystemKnown = true;
    facts.writable = (system.f_flags & ST_RDONLY) == 0 && ::access(path.c_str(), W_OK | X_OK) == 0;
    const auto magic = static_cast<unsigned long>(system.f_type);
    if (magic == kHfsPlusMagic || magic == kHfsMagic) {
      facts.type = "hfs";
    } else {
      char hex[32];
      std::snprintf(hex, sizeof hex, "0x%lx", magic);
      facts.type = hex;
    }
  }
  return facts;
}

std::vector<std::uint64_t> blockParentsFromSysfs(std::uint64_t deviceNumber) {
  namespace fs = std::filesystem;
  std::vector<std::uint64_t> parents;
  std::error_code error;
  const fs::path entry = "/sys/dev/block/" + std::to_string(major(deviceNumber)) + ":" +
                         std::to_string(minor(deviceNumber));
  const fs::path real = fs::canonical(entry, error);
  if (error) return parents;
  if (fs::exists(real / "partition", error)) {
    if (auto disk = deviceNumberInFile(real.parent_path() / "dev")) parents.push_back(*disk);
  }
  for (const auto& member : fs::directory_iterator(real / "slaves", error)) {
    if (auto device = deviceNumberInFile(member.path() / "dev")) parents.push_back(*device);
  }
  return parents;
}

bool destinationOnSource(const SourceIdentity& source, const DestinationFacts& destination,
                         const BlockParents& parents) {
  if (!source.known || !destination.exists) return false;
  if (!source.isBlockDevice) {
    return destination.deviceNumber == source.deviceNumber && destination.inodeNumber == source.inodeNumber;
  }
  // Everything the destination's device stands on, down to the disks; bounded against odd links.
  std::set<std::uint64_t> seen;
  std::vector<std::uint64_t> pending{destination.deviceNumber};
  while (!pending.empty() && seen.size() < 256) {
    const std::uint64_t device = pending.back();
    pending.pop_back();
    if (!seen.insert(device).second) continue;
    if (device == source.deviceNumber) return true;
    if (parents) {
      for (std::uint64_t below : parents(device)) pending.push_back(below);
    }
  }
  return false;
}

DestinationVerdict checkDestinationFacts(const DestinationFacts& destination, std::uint64_t markedData,
                                         const SourceIdentity& source, const BlockParents& parents) {
  DestinationVerdict verdict;
  if (destination.freeBytes < markedData) {
    verdict.refusal = Alert{"! Not enough free disk space",
                            "The volume you have chosen to save data does not have enough free space available.",
                            {"OK"}};
    return verdict;
  }
  if (!destination.fileSystemKnown) {
    verdict.canSaveSlashes = 1;
  } else if (!destination.writable) {
    verdict.refusal = Alert{"! Can not save", "The volume chosen to save data to, is not writable.", {"OK"}};
    return verdict;
  } else {
    verdict.canSaveSlashes = destination.type == "hfs" ? 1 : 0;
  }
  if (destinationOnSource(source, destination, parents)) {
    verdict.refusal = Alert{"! Can not save",
                            "The folder chosen to save data to is on the drive or volume being recovered. Saving "
                            "there would overwrite the data you are recovering. Please choose a folder on another "
                            "drive.",
                            {"OK"}};
  }
  return verdict;
}

}  // namespace nua
