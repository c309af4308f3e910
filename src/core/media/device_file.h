// A source device or disk image opened read-only for the life of its owner, read by 64-bit
// positioned reads. An image may be a container (split raw, E01, UDIF); its readers see only the
// media inside. Nothing in the program opens a source any other way.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "container/image_container.h"

namespace nua {

class DeviceFile {
 public:
  // Opens `path` read-only as whatever container it is; nullptr and `errorNumber` set when it cannot.
  [[nodiscard]] static std::shared_ptr<DeviceFile> open(const std::string& path, int& errorNumber);
  // The same, with `problem` naming what is wrong in a damaged or unsupported container.
  [[nodiscard]] static std::shared_ptr<DeviceFile> open(const std::string& path, int& errorNumber,
                                                        std::string& problem);
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;

  // Reads buffer.size() bytes at byteOffset. A read that meets the end leaves the rest of the buffer
  // as it was; bytes a container cannot produce are a failure. Safe from several threads.
  [[nodiscard]] ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer, int& errorNumber) const {
    return container_->readAt(byteOffset, buffer, errorNumber);
  }

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] bool isBlockDevice() const { return isBlockDevice_; }
  // Size in bytes of the media: BLKGETSIZE64 for a block device, the file size for a raw image, the
  // media inside for a container.
  [[nodiscard]] std::uint64_t sizeInBytes() const { return container_->sizeInBytes(); }
  // Logical sector size: BLKSSZGET for a block device, 512 for an image.
  [[nodiscard]] std::uint32_t sectorSize() const { return sectorSize_; }
  // Device number of a block device (st_rdev), or of the file system holding an image (st_dev).
  [[nodiscard]] std::uint64_t deviceNumber() const { return deviceNumber_; }
  [[nodiscard]] std::uint64_t inodeNumber() const { return inodeNumber_; }
  [[nodiscard]] ContainerKind containerKind() const { return container_->kind(); }
  [[nodiscard]] const ImageContainer& container() const { return *container_; }

 private:
  DeviceFile(std::unique_ptr<ImageContainer> container, std::string path);
  std::unique_ptr<ImageContainer> container_;
  std::string path_;
  bool isBlockDevice_ = false;
  std::uint32_t sectorSize_ = 512;
  std::uint64_t deviceNumber_ = 0;
  std::uint64_t inodeNumber_ = 0;
};

}  // namespace nua
