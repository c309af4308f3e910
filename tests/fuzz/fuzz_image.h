// Shared by the fuzz targets that read a whole image: the input bytes as a read-only file that the
// engine opens by path like any image (an anonymous memory file, so no disk I/O per run).
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/dict.h"
#include "volume/volume.h"

namespace nua::fuzz {

class MemoryImage {
 public:
  MemoryImage(const std::uint8_t* data, std::size_t size) : size_(size) {
    fd_ = ::memfd_create("nua-fuzz-image", MFD_CLOEXEC);
    if (fd_ < 0) return;
    std::size_t done = 0;
    while (done < size) {
      const ssize_t wrote = ::write(fd_, data + done, size - done);
      if (wrote <= 0) break;
      done += static_cast<std::size_t>(wrote);
    }
  }
  ~MemoryImage() {
    if (fd_ >= 0) ::close(fd_);
  }
  MemoryImage(const MemoryImage&) = delete;
  MemoryImage& operator=(const MemoryImage&) = delete;

  [[nodiscard]] bool ok() const { return fd_ >= 0; }
  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }
  [[nodiscard]] std::uint64_t sectors() const { return size_ / 512; }

 private:
  int fd_ = -1;
  std::size_t size_ = 0;
};

// A volume over the whole image, as discovery describes a partition at sector 0.
inline Dict wholeImageVolume(const MemoryImage& image, const char* content) {
  return Dict{{"Volume Scan Type", 0},          {"Path", image.path()}, {"Volume Start", 0},
              {"Volume Size In Sectors", image.sectors()}, {"Content", content}, {"Volume Name", "fuzz"}};
}

}  // namespace nua::fuzz
