// Where the wizard gets its lists from: discovery of drives and volumes, and the partition map of a
// chosen disk. Front ends and tests supply them; the controller only calls them.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/dict.h"
#include "media/rows.h"
#include "signature/sig_node.h"

namespace nua {

class MediaReader;

struct DriveListing {
  std::vector<DriveRow> driveDictArray;
  std::vector<DriveRow> volumeDictArray;
  std::vector<DriveRow> volumeDictArrayHFSOnly;
};

struct MediaSources {
  // `initialDriveList`: builds the lists anew.
  std::function<DriveListing()> initialDriveList;
  // The volumes of its partition map.
  std::function<std::vector<PartitionRow>(MediaReader&)> partitionsOfDrive;
  // `loadSigData` for a scan mode: the category nodes of that mode's catalog.
  std::function<std::vector<std::shared_ptr<SigNode>>(int scanMode)> loadSigData;
};

}  // namespace nua
