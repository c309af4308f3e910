#include "session/recovery_pair.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "base/bytes.h"
#include "session/detail/session_stream_writer.h"
#include "session/session_file.h"
#include "session/volume_coding.h"

namespace nua {
namespace {

using detail::StreamOut;

// Records go to the disk itself at most this often; a process crash loses nothing either way.
constexpr auto kDiskSyncInterval = std::chrono::seconds(1);

// The known-file keys as the table holds them: a node's own keys, then its branches in order.
std::vector<std::uint64_t> knownFileKeys(const CountedKeyTable* table) {
  std::vector<std::uint64_t> keys;
  if (table == nullptr || table->empty()) return keys;
  table->forEachNodePreOrder([&](const CountedKeyTableNode& node) {
    for (int i = 0; i < node.count(); ++i) keys.push_back(node.key(i)->keyField);
  });
  return keys;
}

void writeMainFile(StreamOut& out, const RecoveryPairState& state) {
  out.put(archivedBlob(KeyedValue::object(encodeVolume(*state.selectedVolume))));
  out.put(archivedBlob(KeyedValue::string(state.mainScanStatus)));
  out.putU32(static_cast<std::uint32_t>(state.treeScanMode));
  out.putU32(static_cast<std::uint32_t>(state.scanMode));
  out.putU32(static_cast<std::uint32_t>(state.rawSearchMode));
  out.putU32(static_cast<std::uint32_t>(state.isPTListOrPTScanListChosen));
  const int blobs = partitionBlobCount(state.rawSearchMode, state.isPTListOrPTScanListChosen);
  if (blobs >= 1) out.put(archivedBlob(encodePartitionRows(state.partitionListDictArray)));
  if (blobs == 2) out.put(archivedBlob(encodePartitionRows(state.partitionScanListDictArray)));
  out.putU32(static_cast<std::uint32_t>(state.signatureExtensions.size()));
  for (const std::string& extension : state.signatureExtensions) out.put(archivedBlob(KeyedValue::string(extension)));
  const std::vector<std::uint64_t> keys = knownFileKeys(state.btreeFirstFileBlock);
  out.putU64(keys.size());
  for (std::uint64_t key : keys) out.putU64(key);
  for (const std::vector<std::uint64_t>* list : {&state.mp3DoneArray, &state.mpgDoneArray}) {
    out.putU32(static_cast<std::uint32_t>(list->size()));
    for (std::uint64_t sector : *list) out.putU64(sector);
  }
  std::uint32_t entries = 0;
  detail::writeTree(out, state.dirRoot, entries, nullptr);
}

// A file named like `target`'s with a unique suffix, in the same folder; its descriptor, or -1.
int createTemporary(const std::string& target, std::string& temporary) {
  const std::filesystem::path path(target);
  temporary = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temporary.data());
  if (fd >= 0) ::fchmod(fd, 0600);
  return fd;
}

// Closes fd after making its contents durable; false (with errno) on any failure.
bool syncAndClose(int fd) {
  const bool synced = ::fsync(fd) == 0;
  const int error = errno;
  const bool closed = ::close(fd) == 0;
  if (!synced) errno = error;
  return synced && closed;
}

void syncFolder(const std::string& file) {
  std::string folder = std::filesystem::path(file).parent_path().string();
  if (folder.empty()) folder = ".";
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

RecoveryPairWriteResult failure(const std::string& what, int error) {
  return {false, what + (error != 0 ? std::string(": ") + std::strerror(error) : std::string())};
}

}  // namespace

RecoveryPairPaths RecoveryPairPaths::inFolder(const std::string& folder) {
  const std::filesystem::path base(folder);
  return {(base / kRecoveryFileName).string(), (base / kRecoveryInfoFileName).string()};
}

RecoveryPairWriteResult saveScanInfoAutoRecovery(const RecoveryPairPaths& paths, const RecoveryPairState& state) {
  if (state.selectedVolume == nullptr || state.dirRoot == nullptr) return failure("there is no scan to keep", 0);
  removeRecoveryPair(paths);
  std::string mainTemporary, infoTemporary;
  const int mainFd = createTemporary(paths.recoveryFile, mainTemporary);
  if (mainFd < 0) return failure("cannot create " + paths.recoveryFile, errno);
  StreamOut out(mainFd);
  writeMainFile(out, state);
  const bool flushed = out.flush();
  int error = out.error();
  bool written = syncAndClose(mainFd) && flushed;
  if (written) {
    const int infoFd = createTemporary(paths.infoFile, infoTemporary);
    written = infoFd >= 0 && syncAndClose(infoFd);
  }
  if (error == 0 && !written) error = errno;
  // The Info file goes last: both names present means the main file is whole.
  written = written && ::rename(mainTemporary.c_str(), paths.recoveryFile.c_str()) == 0 &&
            ::rename(infoTemporary.c_str(), paths.infoFile.c_str()) == 0;
  if (error == 0 && !written) error = errno;
  if (!written) {
    if (!mainTemporary.empty()) ::unlink(mainTemporary.c_str());
    if (!infoTemporary.empty()) ::unlink(infoTemporary.c_str());
    ::unlink(paths.recoveryFile.c_str());
    return failure("cannot write " + paths.recoveryFile, error);
  }
  syncFolder(paths.recoveryFile);
  return {true, {}};
}

void removeRecoveryPair(const RecoveryPairPaths& paths) {
  ::unlink(paths.infoFile.c_str());
  ::unlink(paths.recoveryFile.c_str());
  syncFolder(paths.recoveryFile);
}

RecoveryPairPresence recoveryPairPresence(const RecoveryPairPaths& paths) {
  struct stat st{};
  RecoveryPairPresence presence;
  presence.recoveryFile = ::stat(paths.recoveryFile.c_str(), &st) == 0 && S_ISREG(st.st_mode);
  presence.infoFile = ::stat(paths.infoFile.c_str(), &st) == 0 && S_ISREG(st.st_mode);
  return presence;
}

// ---- Appending records ----

struct RecoveryRecordAppender::Stream {
  explicit Stream(int descriptor) : fd(descriptor), out(descriptor) {}
  int fd;
  StreamOut out;
  bool dirty = false;  // written but perhaps not yet on the disk
  std::chrono::steady_clock::time_point lastSync = std::chrono::steady_clock::now();
};

RecoveryRecordAppender::RecoveryRecordAppender(const std::string& recoveryFile) {
  const int fd = ::open(recoveryFile.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (fd >= 0) stream_ = std::make_unique<Stream>(fd);
}

RecoveryRecordAppender::~RecoveryRecordAppender() {
  if (!stream_) return;
  syncToDisk();
  ::close(stream_->fd);
}

void RecoveryRecordAppender::writeEntry(const Entry& entry) {
  if (!working()) return;
  // No children follow an appended record: each finds its parent by identity.
  detail::writeEntryRecord(stream_->out, &entry, 0, entry.parent != nullptr ? entry.parent->identity : 0);
}

void RecoveryRecordAppender::synchronise() {
  if (!working()) return;
  stream_->out.flush();
  stream_->dirty = true;
  if (std::chrono::steady_clock::now() - stream_->lastSync >= kDiskSyncInterval) syncToDisk();
}

void RecoveryRecordAppender::syncToDisk() {
  if (!working()) return;
  stream_->out.flush();
  if (stream_->dirty) ::fdatasync(stream_->fd);
  stream_->dirty = false;
  stream_->lastSync = std::chrono::steady_clock::now();
}

bool RecoveryRecordAppender::working() const { return stream_ && stream_->out.error() == 0; }

// ---- The resume position ----

RecoveryResumePosition::RecoveryResumePosition(const std::string& infoFile, RecoveryRecordAppender* records)
    : fd_(::open(infoFile.c_str(), O_WRONLY | O_CLOEXEC)), records_(records) {}

RecoveryResumePosition::~RecoveryResumePosition() {
  if (fd_ >= 0) ::close(fd_);
}

void RecoveryResumePosition::savePosition(std::uint64_t unit) {
  if (!working()) return;
  if (records_ != nullptr) records_->syncToDisk();
  std::byte raw[8];
  putBe64(raw, 0, unit);
  // Eight bytes at offset 0 lie in one sector, so the old or the new position is there, never a mix.
  failed_ = !detail::writeAllAt(fd_, raw, 0) || ::fdatasync(fd_) != 0;
}

}  // namespace nua
