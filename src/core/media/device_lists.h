// The drive and volume lists as the wizard last built them, published as immutable snapshots so
// that a reader on any thread can ask whether a path is still listed.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/rows.h"

namespace nua {

struct DeviceLists {
  std::vector<DriveRow> driveDictArray;
  std::vector<DriveRow> volumeDictArray;
  // Whether any drive or volume row has the path `path`.
  [[nodiscard]] bool listsPath(const std::string& path) const;
};

class DeviceListStore {
 public:
  DeviceListStore() : current_(std::make_shared<const DeviceLists>()) {}
  [[nodiscard]] std::shared_ptr<const DeviceLists> snapshot() const;
  void publish(DeviceLists lists);

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const DeviceLists> current_;
};

}  // namespace nua
