// A source device or image file opened read-only for the life of its owner, read by 64-bit
// positioned reads. Nothing in the program opens a source any other way.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace nua {

enum class ReadOutcome { kComplete, kShortAtEnd, kFailed };

class DeviceFile {
 public:
  // Opens `path` with O_RDONLY|O_CLOEXEC; nullptr and `errorNumber` set when it cannot.
  [[nodiscard]] static std::shared_ptr<DeviceFile> open(const std::string& path, int& errorNumber);
  ~DeviceFile();
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;

  // Reads buffer.size() bytes at byteOffset, retrying short reads until the end of the source.
  // A read that meets the end leaves the rest of the buffer as it was. Safe from several threads.
  [[nodiscard]] ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer, int& errorNumber) const;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] bool isBlockDevice() const { return isBlockDevice_; }
  // Size in bytes: BLKGETSIZE64 for a block device, the file size for an image.
  [[nodiscard]] std::uint64_t sizeInBytes() const { return sizeInBytes_; }
  // Logical sector size: BLKSSZGET for a block device, 512 for an image.
  [[nodiscard]] std::uint32_t sectorSize() const { return sectorSize_; }
  // Device number of a block device (st_rdev), or of the file system holding an image (st_dev).
  [[nodiscard]] std::uint64_t deviceNumber() const { return deviceNumber_; }
  [[nodiscard]] std::uint64_t inodeNumber() const { return inodeNumber_; }

 private:
  DeviceFile(int fd, std::string path);
  int fd_ = -1;
  std::string path_;
  bool isBlockDevice_ = false;
  std::uint64_t sizeInBytes_ = 0;
  std::uint32_t sectorSize_ = 512;
  std::uint64_t deviceNumber_ = 0;
  std::uint64_t inodeNumber_ = 0;
};

}  // namespace nua
