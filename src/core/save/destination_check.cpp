#include "save/destination_check.h"

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "media/media_reader.h"
#include "save/detail/mount_table.h"

namespace nua {

namespace {

constexpr unsigned long kHfsPlusMagic = 0x482b;
constexpr unsigned long kHfsMagic = 0x4244;
constexpr unsigned long kFuseMagic = 0x65735546;
// Enough for any real stack of partitions, mappings and loop devices; odd links end the walk.
constexpr std::size_t kMaxDevicesFollowed = 256;

struct LimitedFileSystem {
  unsigned long magic;
  const char* mountType;
  const char* name;
};
constexpr std::array<LimitedFileSystem, 7> kLimitedFileSystems{{{0x4d44, "vfat", "FAT"},
                                                                 {0x4d44, "msdos", "FAT"},
                                                                 {0x2011bab0, "exfat", "exFAT"},
                                                                 {0x5346544e, "ntfs", "NTFS"},
                                                                 {0x7366746e, "ntfs3", "NTFS"},
                                                                 {0, "fat", "FAT"},
                                                                 {0, "ntfs-3g", "NTFS"}}};

// A FUSE file system from a block device (ntfs-3g, exfat-fuse) names itself "fuseblk" only; the
// device's type comes from udev's record of it.
std::string udevFileSystemType(const std::string& devicePath) {
  struct stat info {};
  if (::stat(devicePath.c_str(), &info) != 0 || !S_ISBLK(info.st_mode)) return {};
  std::ifstream in("/run/udev/data/b" + std::to_string(major(info.st_rdev)) + ":" + std::to_string(minor(info.st_rdev)));
  std::string line;
  while (std::getline(in, line)) {
    if (line.starts_with("E:ID_FS_TYPE=")) return line.substr(13);
  }
  return {};
}

std::string limitedFileSystemName(const DestinationFacts& destination) {
  for (const LimitedFileSystem& limited : kLimitedFileSystems) {
    char magic[32];
    std::snprintf(magic, sizeof magic, "0x%lx", limited.magic);
    if ((limited.magic != 0 && destination.type == magic) || destination.mountType == limited.mountType) {
      return limited.name;
    }
  }
  return {};
}

// The files the source is read from: the image itself, or the backing files below a loop device.
std::vector<FileIdentity> sourceFiles(const SourceIdentity& source, const StorageLookup& below) {
  std::vector<FileIdentity> files;
  if (!source.isBlockDevice) {
    files.push_back({source.deviceNumber, source.inodeNumber, source.path});
    return files;
  }
  std::set<std::uint64_t> seen;
  std::vector<std::uint64_t> pending{source.deviceNumber};
  while (!pending.empty() && seen.size() < kMaxDevicesFollowed && below) {
    const std::uint64_t device = pending.back();
    pending.pop_back();
    if (!seen.insert(device).second) continue;
    const StorageBelow next = below(device);
    if (next.backingFile) files.push_back(*next.backingFile);
    pending.insert(pending.end(), next.devices.begin(), next.devices.end());
  }
  return files;
}

bool isSourceFile(const std::vector<FileIdentity>& files, const FileIdentity& candidate) {
  for (const FileIdentity& file : files) {
    if (file.sameFile(candidate)) return true;
    // Without an inode (the backing file's path is not reachable from here) the paths decide.
    if ((file.inodeNumber == 0 || candidate.inodeNumber == 0) && !file.path.empty() && file.path == candidate.path) {
      return true;
    }
  }
  return false;
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
    if (const auto mount = detail::mountOfDevice(detail::currentMounts(), info.st_dev)) {
      facts.mountType = mount->fileSystemType;
      if (magic == kFuseMagic) {
        const std::string deviceType = udevFileSystemType(mount->source);
        if (!deviceType.empty()) facts.mountType = deviceType;
      }
    }
  }
  return facts;
}

bool destinationOnSource(const SourceIdentity& source, const DestinationFacts& destination,
                         const StorageLookup& below) {
  if (!source.known || !destination.exists) return false;
  const std::vector<FileIdentity> files = sourceFiles(source, below);
  // Everything the destination's device stands on, down to disks and through loop backing files.
  std::set<std::uint64_t> seen;
  std::vector<std::uint64_t> pending{destination.deviceNumber};
  while (!pending.empty() && seen.size() < kMaxDevicesFollowed) {
    const std::uint64_t device = pending.back();
    pending.pop_back();
    if (!seen.insert(device).second) continue;
    if (source.isBlockDevice && device == source.deviceNumber) return true;
    if (!below) continue;
    const StorageBelow next = below(device);
    if (next.backingFile) {
      if (isSourceFile(files, *next.backingFile)) return true;
      // The backing file lies in some file system: that one's device may be on the source in turn.
      if (next.backingFile->inodeNumber != 0) pending.push_back(next.backingFile->deviceNumber);
    }
    pending.insert(pending.end(), next.devices.begin(), next.devices.end());
  }
  return false;
}

SourceIdentity sourceIdentityOf(MediaReader& source) {
  int errorNumber = 0;
  const std::shared_ptr<DeviceFile> file = source.deviceFile(errorNumber);
  if (!file) return {};
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::weakly_canonical(file->path(), error);
  return {true, file->isBlockDevice(), file->deviceNumber(), file->inodeNumber(),
          error ? file->path() : absolute.string()};
}

bool folderOnSource(const SourceIdentity& source, const std::string& folder) {
  return destinationOnSource(source, probeDestination(folder), storageBelowFromSystem);
}

DestinationVerdict checkDestinationFacts(const DestinationFacts& destination, std::uint64_t markedData,
                                         const SourceIdentity& source, const StorageLookup& below) {
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
    verdict.limitedFileSystem = limitedFileSystemName(destination);
  }
  if (destinationOnSource(source, destination, below)) {
    verdict.refusal = Alert{"! Can not save",
                            "The folder chosen to save data to is on the drive or volume being recovered. Saving "
                            "there would overwrite the data you are recovering. Please choose a folder on another "
                            "drive.",
                            {"OK"}};
  }
  return verdict;
}

}  // namespace nua
