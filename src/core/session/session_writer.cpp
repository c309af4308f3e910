#include "session/session_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "base/bytes.h"
#include "session/detail/session_stream_writer.h"
#include "session/session_record.h"
#include "session/volume_coding.h"

namespace nua {
namespace {

using detail::StreamOut;

// The status blob, and with the final status the identity blob, in the zeroed header area.
std::vector<std::byte> headerArea(bool complete) {
  std::vector<std::byte> area = archivedBlob(KeyedValue::string(complete ? kSessionStatusComplete : kSessionStatusUnComplete));
  if (complete) {
    const std::vector<std::byte> identity = archivedBlob(KeyedValue::string(kSessionIdentity));
    area.insert(area.end(), identity.begin(), identity.end());
  }
  area.resize(kSessionHeaderAreaSize, std::byte{0});
  return area;
}

// Whether path names the same file as one of the sources the session reads.
bool isSourceFile(const std::string& path, const Volume& volume) {
  struct stat target{};
  if (::stat(path.c_str(), &target) != 0) return false;
  for (const std::string* source : {&volume.path, &volume.parentDrivePath}) {
    struct stat st{};
    if (!source->empty() && ::stat(source->c_str(), &st) == 0 && st.st_dev == target.st_dev && st.st_ino == target.st_ino)
      return true;
  }
  return false;
}

SessionWriteResult failure(const std::string& what, int error) {
  return {false, what + (error != 0 ? std::string(": ") + std::strerror(error) : std::string())};
}

}  // namespace

const std::vector<Entry*>& allChildrenOfDir(const Entry* dir) {
  return dir->showDeletedOnly == 1 ? dir->deletedList : dir->childList;
}

SessionWriteResult saveScanInfo(const std::string& path, const SessionContents& contents, const Entry* dirRoot,
                                std::uint32_t& scanInfoEntryCount, SessionProgress* progress) {
  if (dirRoot == nullptr || !contents.volume) return failure("there is no recovered tree to save", 0);
  struct stat existing{};
  if (::stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode))
    return failure(path + " is not a regular file", 0);
  if (isSourceFile(path, *contents.volume)) return failure(path + " is the drive or image being recovered", 0);

  const std::filesystem::path target(path);
  std::filesystem::path folder = target.parent_path();
  if (folder.empty()) folder = ".";
  std::string temporary = (folder / ("." + target.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) return failure("cannot create a file in " + folder.string(), errno);
  ::fchmod(fd, 0644);

  StreamOut out(fd);
  out.put(headerArea(false));
  out.put(archivedBlob(KeyedValue::object(encodeVolume(*contents.volume))));
  out.putU32(static_cast<std::uint32_t>(contents.scanMode));
  out.putU32(static_cast<std::uint32_t>(contents.rawSearchMode));
  out.putU32(static_cast<std::uint32_t>(contents.isPTListOrPTScanListChosen));
  const int blobs = partitionBlobCount(contents.rawSearchMode, contents.isPTListOrPTScanListChosen);
  if (blobs >= 1) out.put(archivedBlob(encodePartitionRows(contents.partitionListDictArray)));
  if (blobs == 2) out.put(archivedBlob(encodePartitionRows(contents.partitionScanListDictArray)));
  const std::size_t sectorBytes =
      static_cast<std::size_t>(kSessionFirstSectorCount) * static_cast<std::size_t>(contents.volume->u32BytesInSector);
  const bool withSectors = contents.hasFirst5Sectors && contents.first5Sectors.size() == sectorBytes;
  out.putU32(withSectors ? 1 : 0);
  if (withSectors) out.put(contents.first5Sectors);
  if (progress != nullptr) progress->setMaxValue(dirRoot->childrenCount);
  detail::writeTree(out, dirRoot, scanInfoEntryCount, progress);

  bool written = out.flush() && ::fsync(fd) == 0;
  int error = out.error() != 0 ? out.error() : (written ? 0 : errno);
  if (written) {
    written = detail::writeAllAt(fd, headerArea(true), 0) && ::fsync(fd) == 0;
    if (!written) error = errno;
  }
  if (::close(fd) != 0 && written) {
    written = false;
    error = errno;
  }
  if (written && ::rename(temporary.c_str(), path.c_str()) != 0) {
    written = false;
    error = errno;
  }
  if (!written) {
    ::unlink(temporary.c_str());
    return failure("cannot write " + path, error);
  }
  return {true, {}};
}

}  // namespace nua
