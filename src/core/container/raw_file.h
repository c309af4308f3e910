// One file or block device opened read-only: the raw container, and each segment of a split set or
// the file under a UDIF image.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "container/image_container.h"

namespace nua {

class RawFile final : public ImageContainer {
 public:
  // Opens with O_RDONLY|O_CLOEXEC; nullptr and `errorNumber` set when it cannot.
  [[nodiscard]] static std::unique_ptr<RawFile> open(const std::string& path, int& errorNumber);
  ~RawFile() override;
  RawFile(const RawFile&) = delete;
  RawFile& operator=(const RawFile&) = delete;

  [[nodiscard]] ContainerKind kind() const override { return ContainerKind::kRaw; }
  [[nodiscard]] std::uint64_t sizeInBytes() const override { return sizeInBytes_; }
  [[nodiscard]] ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer,
                                   int& errorNumber) const override;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] bool isBlockDevice() const { return isBlockDevice_; }
  // Logical sector size: BLKSSZGET for a block device, 512 for a file.
  [[nodiscard]] std::uint32_t sectorSize() const { return sectorSize_; }
  // Device number of a block device (st_rdev), or of the file system holding a file (st_dev).
  [[nodiscard]] std::uint64_t deviceNumber() const { return deviceNumber_; }
  [[nodiscard]] std::uint64_t inodeNumber() const { return inodeNumber_; }
  // Tells the kernel the file will be read from start to end, so its own read-ahead grows.
  void adviseSequentialReads() const;

 private:
  RawFile(int fd, std::string path);
  int fd_ = -1;
  std::string path_;
  bool isBlockDevice_ = false;
  std::uint64_t sizeInBytes_ = 0;
  std::uint32_t sectorSize_ = 512;
  std::uint64_t deviceNumber_ = 0;
  std::uint64_t inodeNumber_ = 0;
};

}  // namespace nua
