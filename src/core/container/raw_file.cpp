#include "container/raw_file.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace nua {

std::unique_ptr<RawFile> RawFile::open(const std::string& path, int& errorNumber) {
  errorNumber = 0;
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    errorNumber = errno;
    return nullptr;
  }
  return std::unique_ptr<RawFile>(new RawFile(fd, path));
}

RawFile::RawFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {
  struct stat st {};
  if (::fstat(fd_, &st) == 0) {
    isBlockDevice_ = S_ISBLK(st.st_mode);
    inodeNumber_ = st.st_ino;
    if (isBlockDevice_) {
      deviceNumber_ = st.st_rdev;
      std::uint64_t bytes = 0;
      if (::ioctl(fd_, BLKGETSIZE64, &bytes) == 0) sizeInBytes_ = bytes;
      int logical = 0;
      if (::ioctl(fd_, BLKSSZGET, &logical) == 0 && logical > 0) sectorSize_ = static_cast<std::uint32_t>(logical);
    } else {
      deviceNumber_ = st.st_dev;
      sizeInBytes_ = st.st_size > 0 ? static_cast<std::uint64_t>(st.st_size) : 0;
    }
  }
}

void RawFile::adviseSequentialReads() const {
  if (fd_ >= 0) (void)::posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
}

RawFile::~RawFile() {
  if (fd_ >= 0) ::close(fd_);
}

ReadOutcome RawFile::readAt(std::uint64_t byteOffset, std::span<std::byte> buffer, int& errorNumber) const {
  errorNumber = 0;
  std::size_t done = 0;
  while (done < buffer.size()) {
    const std::uint64_t position = byteOffset + done;
    if (position > static_cast<std::uint64_t>(INT64_MAX)) return ReadOutcome::kShortAtEnd;
    ssize_t got = ::pread(fd_, buffer.data() + done, buffer.size() - done, static_cast<off_t>(position));
    if (got < 0) {
      if (errno == EINTR) continue;
      errorNumber = errno;
      return ReadOutcome::kFailed;
    }
    if (got == 0) return ReadOutcome::kShortAtEnd;
    done += static_cast<std::size_t>(got);
  }
  return ReadOutcome::kComplete;
}

}  // namespace nua
