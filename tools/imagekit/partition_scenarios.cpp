// The partition-map scenarios: MBR with an EBR chain, GPT, Apple partition maps and a hybrid map.
#include "imagekit/scenario.h"

namespace nua::imagekit {

void registerPartitionScenarios() {}

}  // namespace nua::imagekit
