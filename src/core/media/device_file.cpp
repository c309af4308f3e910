#include "media/device_file.h"

#include "container/raw_file.h"

namespace nua {

std::shared_ptr<DeviceFile> DeviceFile::open(const std::string& path, int& errorNumber) {
  std::string problem;
  return open(path, errorNumber, problem);
}

std::shared_ptr<DeviceFile> DeviceFile::open(const std::string& path, int& errorNumber, std::string& problem) {
  auto container = openImageContainer(path, errorNumber, problem);
  if (!container) return nullptr;
  return std::shared_ptr<DeviceFile>(new DeviceFile(std::move(container), path));
}

DeviceFile::DeviceFile(std::unique_ptr<ImageContainer> container, std::string path)
    : container_(std::move(container)), path_(std::move(path)) {
  // The identity that re-finds a source is that of the file named, also for a container's first segment.
  int errorNumber = 0;
  if (const auto* raw = dynamic_cast<const RawFile*>(container_.get())) {
    isBlockDevice_ = raw->isBlockDevice();
    sectorSize_ = raw->sectorSize();
    deviceNumber_ = raw->deviceNumber();
    inodeNumber_ = raw->inodeNumber();
  } else if (auto first = RawFile::open(path_, errorNumber)) {
    deviceNumber_ = first->deviceNumber();
    inodeNumber_ = first->inodeNumber();
  }
}

}  // namespace nua
