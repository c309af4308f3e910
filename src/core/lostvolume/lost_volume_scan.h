// The search of a whole disk for HFS+ volumes whose partition map is gone: a sweep for volume headers,
// each new one judged by its catalog, giving the rows of the found-volume table and the volume
// dictionaries that the partition goal and every scan take as their source.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/dict.h"
#include "lostvolume/volume_search_progress.h"
#include "media/media_reader.h"
#include "media/hfs_btree_layout.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/volume_information_block.h"
#include "records/key_table.h"

namespace nua {

// Sectors read at once by the sweep.
inline constexpr std::uint64_t kVolumeScanChunkSectors = 63;

class LostVolumeScan {
 public:
  LostVolumeScan(MediaReader& media, VolumeSearchSink& progress) : media_(media), progress_(progress) {}

  // Sweeps the whole disk, reporting to the sink. Rows of the found-volume table ("Found Column",
  // "Validity Column") are appended to `volumeScanFoundArray` as they are found; at the end the volume
  // rows of volumeScanArray are appended to `foundVolumes`, which the caller hands on as the search's
  // result. Unreadable chunks and damaged headers give fewer finds, never an error. Stops early when
  // the media's abortVolumeScan is set.
  void initializeForVolumeThoroughScan(std::vector<PartitionRow>& foundVolumes,
                                       std::vector<Dict>& volumeScanFoundArray);

  // The plausibility test of a volume header in host order.
  [[nodiscard]] bool verifyVIB(const VolumeInformationBlock& header) const;

  // Judges the volume whose header is in vib() and which starts at the media's HPlusVolStart by its
  // catalog: appends a percentage and a word ("Valid", "Partial Valid", "Invalid") to `validity`, and
  // a volume row to the search's volumeScanArray when the volume is usable.
  // `whetherAlternateSector` is 0 or the sector of the alternate header the volume was found by.
  void verifyVolumeAndGetData(DictArray& validity, std::uint64_t whetherAlternateSector);

  void setVib(const VolumeInformationBlock& header) { vib_ = header; }
  [[nodiscard]] const VolumeInformationBlock& vib() const { return vib_; }

 private:
  struct SweepState;
  // Reads the header `offsetInSector` bytes into sector v into vib_; false when unreadable.
  [[nodiscard]] bool readHeaderAt(std::uint64_t sector, std::uint32_t offsetInSector);
  void testCandidate(std::uint64_t v, std::uint32_t offsetInSector, SweepState& state,
                     std::vector<Dict>& volumeScanFoundArray);
  void testVolumeAt(std::uint64_t start, std::uint64_t whetherAlternateSector, std::uint64_t rowSector,
                    SweepState& state, std::vector<Dict>& volumeScanFoundArray);
  // Counts catalog leaves by reading the first sector of every node of size `nodeSectors` over the
  // catalog's extents; `nodes` is set to the nodes looked at. False when the scan was aborted.
  [[nodiscard]] bool countLeafNodes(std::uint64_t nodeSectors, std::uint64_t& leaves, std::uint64_t& nodes);
  // Walks the leaf chain from firstLeafNode and gives the sum of its record counts.
  [[nodiscard]] std::uint64_t sumLeafChainRecords(std::uint64_t leafRecords);
  // Steps after the leaf walk: the root folder's record names the volume, else the leaf count judges it.
  void judgeFirstLeaf(DictArray& validity, std::uint64_t whetherAlternateSector, const BTHeaderRecord& catalogHeader);
  [[nodiscard]] PartitionRow volumeRow(std::uint64_t whetherAlternateSector, const std::string& name) const;
  void sendSubTaskTime(std::chrono::steady_clock::time_point start, double done, double total) const;

  // What one search gathers, kept apart from the disk it reads.
  struct SearchState {
    std::vector<PartitionRow> volumeScanArray;         // the volumes offered for a scan
    std::vector<std::uint64_t> volFoundAtSectorArray;  // starts already listed
    // Headers met before, by creation date, and catalog nodes already visited by the check under way.
    std::unique_ptr<CountedKeyTable> btreeForVIBCreateDate = std::make_unique<CountedKeyTable>();
    std::unique_ptr<CountedKeyTable> btreeForUsedCatNodeSector = std::make_unique<CountedKeyTable>();
  };

  MediaReader& media_;
  VolumeSearchSink& progress_;
  SearchState search_;
  VolumeInformationBlock vib_;
  // The catalog and extents trees of the volume under judgement.
  HfsBTreeLayout trees_;
  std::uint32_t volumeValidity_ = 0;
  std::uint64_t catalogTotalNodes_ = 0;
};

}  // namespace nua
