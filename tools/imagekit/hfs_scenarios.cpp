// The HFS+ scenarios of the image kit.
#include "imagekit/scenario.h"

namespace nua::imagekit {

void registerHfsScenarios() {}

}  // namespace nua::imagekit
