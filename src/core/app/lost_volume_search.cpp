#include "app/lost_volume_search.h"

#include "lostvolume/lost_volume_scan.h"
#include "media/media_reader.h"

namespace nua {

LostVolumeSearch::LostVolumeSearch(const Dict& disk) : media_(std::make_unique<MediaReader>()) {
  media_->initWithDictionary(disk, {});
}

LostVolumeSearch::~LostVolumeSearch() = default;

std::atomic<bool>& LostVolumeSearch::stopFlag() { return media_->abortVolumeScan; }

std::uint64_t LostVolumeSearch::sectorBytes() const { return static_cast<std::uint64_t>(media_->u32BytesInSector); }

std::vector<PartitionRow> LostVolumeSearch::run(VolumeSearchSink& progress) {
  std::vector<PartitionRow> foundVolumes;
  std::vector<Dict> foundTableRows;  // the rows were reported to `progress` as they were found
  LostVolumeScan(*media_, progress).initializeForVolumeThoroughScan(foundVolumes, foundTableRows);
  return foundVolumes;
}

}  // namespace nua
