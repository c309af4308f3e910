#include "session/session_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "base/bytes.h"
#include "session/session_record.h"
#include "session/volume_coding.h"

namespace nua {
namespace {

// Longest name and folder path a record carries, in UTF-16 units: the room the record's copy has.
constexpr std::uint16_t kMaxNameUnits = 512;
constexpr std::uint16_t kMaxPathUnits = 2048;

// Collects the stream in memory chunks and writes them whole; the first failure sticks.
class StreamOut {
 public:
  explicit StreamOut(int fd) : fd_(fd) { buffer_.reserve(kChunk); }
  void put(std::span<const std::byte> bytes) {
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    if (buffer_.size() >= kChunk) flush();
  }
  void putU32(std::uint32_t value) {
    std::byte raw[4];
    putBe32(raw, 0, value);
    put(raw);
  }
  void putUnits(const NameBlock& name, std::uint16_t units) {
    for (std::uint16_t i = 0; i < units; ++i) {
      std::byte raw[2];
      putBe16(raw, 0, static_cast<std::uint16_t>(name.units[i]));
      put(raw);
    }
  }
  bool flush() {
    std::size_t done = 0;
    while (error_ == 0 && done < buffer_.size()) {
      const ssize_t n = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) error_ = n < 0 ? errno : EIO;
      else done += static_cast<std::size_t>(n);
    }
    buffer_.clear();
    return error_ == 0;
  }
  [[nodiscard]] int error() const { return error_; }

 private:
  static constexpr std::size_t kChunk = std::size_t{1} << 20;
  int fd_;
  int error_ = 0;
  std::vector<std::byte> buffer_;
};

void writeRecord(StreamOut& out, const Entry* dir, std::uint32_t children, std::uint64_t parentIdentity) {
  SessionRecord record = convertNDirToHPDir(dir, children, parentIdentity);
  // A name or path past the record's room is cut there rather than refusing the entry.
  record.fileNameLength = std::min(record.fileNameLength, kMaxNameUnits);
  if (record.fileType == 1) record.pathNameLength = std::min(record.pathNameLength, kMaxPathUnits);
  std::byte raw[kSessionRecordSize];
  writeSessionRecord(record, raw);
  out.put(raw);
  out.putUnits(dir->fileName, record.fileNameLength);
  if (record.fileType == 1) out.putUnits(dir->pathName, record.pathNameLength);
  for (std::uint32_t i = 0; i < record.dataExtCount; ++i) {
    out.putU32(dir->dataExt[i].startBlock);
    out.putU32(dir->dataExt[i].blockCount);
  }
}

// Parents before children, depth first, by an explicit stack so
// that the depth of the tree costs no call stack.
void writeDir(StreamOut& out, const Entry* root, std::uint32_t& scanInfoEntryCount, SessionProgress* progress) {
  struct Frame {
    const Entry* dir;
    std::size_t next = 0;
  };
  auto writeOne = [&](const Entry* dir, std::uint64_t parentIdentity) {
    writeRecord(out, dir, static_cast<std::uint32_t>(allChildrenOfDir(dir).size()), parentIdentity);
    ++scanInfoEntryCount;
    if (scanInfoEntryCount % 100 == 0 && progress != nullptr) progress->incrementBy(100);
  };
  writeOne(root, root->parent != nullptr ? root->parent->identity : 0);
  std::vector<Frame> stack{{root}};
  while (!stack.empty() && out.error() == 0) {
    Frame& top = stack.back();
    const std::vector<Entry*>& children = allChildrenOfDir(top.dir);
    if (top.next >= children.size()) {
      stack.pop_back();
      continue;
    }
    const Entry* parent = top.dir;
    const Entry* child = children[top.next++];
    // A hole in a list would leave the count written above short by one record; the tree has none.
    writeOne(child, parent->identity);
    if (!allChildrenOfDir(child).empty()) stack.push_back({child});
  }
}

bool writeAllAt(int fd, const std::vector<std::byte>& bytes, off_t offset) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done, offset + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

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
  writeDir(out, dirRoot, scanInfoEntryCount, progress);

  bool written = out.flush() && ::fsync(fd) == 0;
  int error = out.error() != 0 ? out.error() : (written ? 0 : errno);
  if (written) {
    written = writeAllAt(fd, headerArea(true), 0) && ::fsync(fd) == 0;
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
