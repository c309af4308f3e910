// A scan launcher for the controller's tests: records the scan it is asked to start, and starts none.
#pragma once

#include <memory>

#include "app/scan_launcher.h"
#include "volume/volume.h"

namespace nua::apptest {

class RecordingScanLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry e, std::shared_ptr<Volume> v, ScanArguments a) override {
    entry = e;
    volume = std::move(v);
    arguments = std::move(a);
    ++count;
  }
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {}

  ScanEntry entry{};
  std::shared_ptr<Volume> volume;
  ScanArguments arguments;
  int count = 0;
};

}  // namespace nua::apptest
