// The one place that knows every scenario family of the image kit.
#include "imagekit/scenario.h"

namespace nua::imagekit {

void registerAllScenarios() {
  static bool done = false;
  if (done) return;
  done = true;
  registerHfsScenarios();
  registerFatScenarios();
  registerFatGeometryScenarios();
  registerPartitionScenarios();
  registerDemoScenarios();
  registerFatSaveScenarios();
  registerLostVolumeScenarios();
  registerExfatScenarios();
  registerCarveScenarios();
  // The FAT, partition-map and demo families add their register...Scenarios() calls here (and their
  // declarations in scenario.h) when their files land.
}

}  // namespace nua::imagekit
