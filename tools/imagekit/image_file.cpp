// File-backed and in-memory image writers.
#include "imagekit/image_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace nua::imagekit {

namespace {
constexpr std::size_t kPendingLimitBytes = 4 * 1024 * 1024;
}

ImageWriter::ImageWriter(const std::string& path, std::uint64_t totalBytes) : totalBytes_(totalBytes), path_(path) {
  fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd_ < 0) {
    fail("cannot create " + path + ": " + std::strerror(errno));
    return;
  }
  if (::ftruncate(fd_, static_cast<off_t>(totalBytes)) != 0) fail("cannot size " + path + ": " + std::strerror(errno));
}

ImageWriter ImageWriter::inMemory(std::uint64_t totalBytes) {
  ImageWriter writer;
  writer.inMemory_ = true;
  writer.totalBytes_ = totalBytes;
  writer.memory_.assign(totalBytes, std::byte{0});
  return writer;
}

ImageWriter::ImageWriter(ImageWriter&& other) noexcept { *this = std::move(other); }

ImageWriter& ImageWriter::operator=(ImageWriter&& other) noexcept {
  if (this == &other) return *this;
  if (fd_ >= 0) ::close(fd_);
  fd_ = std::exchange(other.fd_, -1);
  inMemory_ = other.inMemory_;
  totalBytes_ = other.totalBytes_;
  memory_ = std::move(other.memory_);
  pending_ = std::move(other.pending_);
  pendingOffset_ = other.pendingOffset_;
  path_ = std::move(other.path_);
  error_ = std::move(other.error_);
  return *this;
}

ImageWriter::~ImageWriter() {
  if (fd_ >= 0) {
    flushPending();
    ::close(fd_);
  }
}

void ImageWriter::fail(std::string message) {
  if (error_.empty()) error_ = std::move(message);
}

void ImageWriter::write(std::uint64_t byteOffset, std::span<const std::byte> bytes) {
  if (!ok() || bytes.empty()) return;
  if (byteOffset > totalBytes_ || bytes.size() > totalBytes_ - byteOffset) {
    fail("write of " + std::to_string(bytes.size()) + " bytes at " + std::to_string(byteOffset) +
         " past image end " + std::to_string(totalBytes_));
    return;
  }
  if (inMemory_) {
    std::copy(bytes.begin(), bytes.end(), memory_.begin() + static_cast<std::ptrdiff_t>(byteOffset));
    return;
  }
  if (!pending_.empty() && byteOffset != pendingOffset_ + pending_.size()) flushPending();
  if (pending_.empty()) pendingOffset_ = byteOffset;
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  if (pending_.size() >= kPendingLimitBytes) flushPending();
}

void ImageWriter::flushPending() {
  std::size_t done = 0;
  // Bounded by the pending size: each round either stores bytes or gives up.
  while (done < pending_.size() && fd_ >= 0) {
    const ssize_t n = ::pwrite(fd_, pending_.data() + done, pending_.size() - done,
                               static_cast<off_t>(pendingOffset_ + done));
    if (n <= 0) {
      if (n < 0 && errno == EINTR) continue;
      fail("cannot write " + path_ + ": " + std::strerror(errno));
      break;
    }
    done += static_cast<std::size_t>(n);
  }
  pending_.clear();
}

bool ImageWriter::read(std::uint64_t byteOffset, std::span<std::byte> bytes) {
  if (byteOffset > totalBytes_ || bytes.size() > totalBytes_ - byteOffset) return false;
  if (inMemory_) {
    std::copy_n(memory_.begin() + static_cast<std::ptrdiff_t>(byteOffset), bytes.size(), bytes.begin());
    return true;
  }
  flushPending();
  if (fd_ < 0) return false;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::pread(fd_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(byteOffset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool ImageWriter::finish() {
  if (fd_ >= 0) {
    flushPending();
    if (::close(fd_) != 0) fail("cannot close " + path_ + ": " + std::strerror(errno));
    fd_ = -1;
  }
  return ok();
}

}  // namespace nua::imagekit
