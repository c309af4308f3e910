#include "app/recovery_pair_keeper.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

namespace nua {

RecoveryPairKeeper::~RecoveryPairKeeper() {
  // A keeper that goes while a search still records (the process ending) leaves the pair for a resume.
  std::lock_guard lock(mutex_);
  positions_.reset();
  records_.reset();
  releaseLock();
}

void RecoveryPairKeeper::setLocation(RecoveryPairLocation* location) {
  std::lock_guard lock(mutex_);
  location_ = location;
}

RecoveryPairLocation* RecoveryPairKeeper::location() const {
  std::lock_guard lock(mutex_);
  return location_;
}

void RecoveryPairKeeper::scanStarting(RecoveryPairState state, std::vector<std::uint64_t> mp3DoneArray,
                                      std::vector<std::uint64_t> mpgDoneArray) {
  std::lock_guard lock(mutex_);
  state_ = std::move(state);
  mp3DoneArray_ = std::move(mp3DoneArray);
  mpgDoneArray_ = std::move(mpgDoneArray);
}

RecoveryPairKeeper::Started RecoveryPairKeeper::searchStarting(const Volume& volume,
                                                               const FolderOnSourceCheck& onSource) {
  std::lock_guard lock(mutex_);
  Started started;
  started.recovery.mp3DoneArray = mp3DoneArray_;
  started.recovery.mpgDoneArray = mpgDoneArray_;
  if (location_ == nullptr) return started;
  RecoveryPairFolderResult folder = location_->prepareFolder(onSource);
  if (!folder.paths) {
    started.error = folder.reason;
    return started;
  }
  // The pair's names are fixed: a second search at the same time (two command lines) would replace
  // the first one's pair and remove it at its end. The first search keeps the folder; others run
  // without a pair.
  const std::filesystem::path lockPath =
      std::filesystem::path(folder.paths->infoFile).parent_path() / kRecoveryPairLockName;
  const int lockFd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lockFd < 0 || ::flock(lockFd, LOCK_EX | LOCK_NB) != 0) {
    if (lockFd >= 0) ::close(lockFd);
    started.error = "another search keeps its recovery pair in " + lockPath.parent_path().string();
    return started;
  }
  lockFd_ = lockFd;
  RecoveryPairState state = state_;
  state.selectedVolume = &volume;
  state.btreeFirstFileBlock = volume.tables.btreeFirstFileBlock.get();
  state.mp3DoneArray = mp3DoneArray_;
  state.mpgDoneArray = mpgDoneArray_;
  state.dirRoot = volume.dirRoot;
  const RecoveryPairWriteResult written = saveScanInfoAutoRecovery(*folder.paths, state);
  if (!written.ok) {
    started.error = written.error;
    releaseLock();
    return started;
  }
  written_ = std::make_unique<RecoveryPairPaths>(*folder.paths);
  records_ = std::make_unique<RecoveryRecordAppender>(written_->recoveryFile);
  positions_ = std::make_unique<RecoveryResumePosition>(written_->infoFile, records_.get());
  started.pair = *written_;
  started.recovery.records = records_.get();
  started.recovery.positions = positions_.get();
  return started;
}

void RecoveryPairKeeper::cleanUp() {
  std::lock_guard lock(mutex_);
  positions_.reset();
  records_.reset();
  if (written_) removeRecoveryPair(*written_);
  written_.reset();
  releaseLock();
}

void RecoveryPairKeeper::releaseLock() {
  if (lockFd_ >= 0) ::close(lockFd_);  // closing drops the lock
  lockFd_ = -1;
}

bool recoveryPairInUse(const RecoveryPairPaths& paths) {
  const std::filesystem::path lockPath = std::filesystem::path(paths.infoFile).parent_path() / kRecoveryPairLockName;
  const int fd = ::open(lockPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool held = ::flock(fd, LOCK_SH | LOCK_NB) != 0;
  ::close(fd);
  return held;
}

}  // namespace nua
