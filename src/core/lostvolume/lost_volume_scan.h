// The search of a whole disk for HFS+ volumes whose partition map is gone: a sweep for volume headers,
// each new one judged by its catalog, giving the rows of the found-volume table and the volume
// dictionaries that the partition goal and every scan take as their source.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "base/dict.h"
#include "hfs/bt_header_record.h"
#include "hfs/volume_information_block.h"
#include "media/dmedia.h"

namespace nua {

// Sectors read at once by the sweep.
inline constexpr std::uint64_t kVolumeScanChunkSectors = 63;

// Where the search reports. Every call may come from the scan thread; `waitUntilDone` says whether the
// caller waits for the main thread to have handled it.
class VolumeScanObserver {
 public:
  virtual ~VolumeScanObserver() = default;
  virtual void updateVolumeScanProgress(const Dict& update, bool waitUntilDone) = 0;
  // Starts the once-a-second hand-over of the media's dataUpdate, and stops it.
  virtual void setUpTimerForDMedia() = 0;
  virtual void invalidateTimer() = 0;
};

// The observer every lost-volume search reports to, kept in one shared place as the controller is
// one per process; null reports nothing.
void setVolumeScanObserver(VolumeScanObserver* observer);
[[nodiscard]] VolumeScanObserver* volumeScanObserver();

class LostVolumeScan {
 public:
  // `observer` may be null: nothing is reported then.
  LostVolumeScan(DMedia& media, VolumeScanObserver* observer) : media_(media), observer_(observer) {}

  // Sweeps the whole disk. Rows of the found-volume table ("Found Column", "Validity Column") are
  // appended to `volumeScanFoundArray` as they are found; at the end the volume rows of
  // volumeScanArray are appended to `foundVolumes`. Unreadable chunks and damaged
  // headers give fewer finds, never an error. Stops early when the media's abortVolumeScan is set.
  void initializeForVolumeThoroughScan(std::vector<PartitionRow>& foundVolumes,
                                       std::vector<Dict>& volumeScanFoundArray);

  // The plausibility test of a volume header in host order.
  [[nodiscard]] bool verifyVIB(const VolumeInformationBlock& header) const;

  // Judges the volume whose header is in vib() and which starts at the media's HPlusVolStart by its
  // catalog: appends a percentage and a word ("Valid", "Partial Valid", "Invalid") to `validity`, and
  // a volume row to the media's volumeScanArray when the volume is usable.
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
  void report(const Dict& update, bool waitUntilDone) const;
  void sendSubTaskTime(std::chrono::steady_clock::time_point start, double done, double total) const;

  DMedia& media_;
  VolumeScanObserver* observer_;
  VolumeInformationBlock vib_;
  std::uint32_t volumeValidity_ = 0;
  std::uint64_t catalogTotalNodes_ = 0;
};

}  // namespace nua
