#include "media/device_lists.h"

namespace nua {

bool DeviceLists::listsPath(const std::string& path) const {
  for (const auto* list : {&driveDictArray, &volumeDictArray})
    for (const DriveRow& row : *list)
      if (row.path == path) return true;
  return false;
}

std::shared_ptr<const DeviceLists> DeviceListStore::snapshot() const {
  std::lock_guard lock(mutex_);
  return current_;
}

void DeviceListStore::publish(DeviceLists lists) {
  auto next = std::make_shared<const DeviceLists>(std::move(lists));
  std::lock_guard lock(mutex_);
  current_ = std::move(next);
}

}  // namespace nua
