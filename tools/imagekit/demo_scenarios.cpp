// The demo disk: a GPT disk with a journaled HFS+ volume and a FAT32 volume full of photos.
#include "imagekit/scenario.h"

namespace nua::imagekit {

void registerDemoScenarios() {}

}  // namespace nua::imagekit
