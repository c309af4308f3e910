#include "app/target_description.h"

#include "media/media_reader.h"
#include "media/partition_reader.h"
#include "media/source_probe.h"

namespace nua {

Dict describeScanTarget(const std::string& path, std::uint32_t sectorSizeOverride) {
  return describeSource(path, sectorSizeOverride);
}

Dict verifyScanTargetDigest(const std::string& path) { return verifyStoredDigest(path); }

PartitionList readPartitionList(const Dict& disk) {
  MediaReader media;
  media.initWithDictionary(disk, {});
  PartitionList list;
  PartitionReader reader(media);
  reader.initialize(list.rows);
  list.gptHeaderUsed = reader.gptHeaderUsed();
  return list;
}

}  // namespace nua
