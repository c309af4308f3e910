// hfs-many: placeholder until the streaming writer lands.
#include "imagekit/hfs_scenario_common.h"

namespace nua::imagekit {

void registerHfsManyScenario() {}

}  // namespace nua::imagekit
