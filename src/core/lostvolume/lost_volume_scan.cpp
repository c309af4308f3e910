#include "lostvolume/lost_volume_scan.h"

#include <algorithm>
#include <atomic>

#include "base/bytes.h"
#include "base/text.h"
#include "lostvolume/lost_volume_rows.h"
#include "volume/volume.h"

namespace nua {

namespace {

constexpr std::uint64_t kVolumeHeaderOffset = 1024;

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

namespace {

class SilentVolumeSearchSink final : public VolumeSearchSink {
 public:
  void report(const VolumeSearchProgress&) override {}
  [[nodiscard]] bool sweepOfferPending() const override { return false; }
  void offerSweepPosition(const VolumeSearchProgress&) override {}
};

}  // namespace

VolumeSearchSink& VolumeSearchSink::none() {
  static SilentVolumeSearchSink sink;
  return sink;
}

// What the sweep carries between candidates: the disk's size and the remaining-time estimate, which
// restarts after every check so that the pause of a check doesn't spoil it.
struct LostVolumeScan::SweepState {
  std::uint64_t totalSectors = 0;
  std::chrono::steady_clock::time_point estimateStart;
  std::uint64_t chunksToEstimate = 0;
  std::uint64_t estimateCounter = 0;
  std::uint64_t remainingChunks = 0;
};

void LostVolumeScan::initializeForVolumeThoroughScan(std::vector<PartitionRow>& foundVolumes,
                                                     std::vector<Dict>& volumeScanFoundArray) {
  search_ = SearchState{};
  const auto sectorBytes = static_cast<std::uint64_t>(std::max<std::int32_t>(media_.u32BytesInSector, 1));
  VolumeSearchProgress bar;
  bar.barMaximum = static_cast<std::uint32_t>(media_.sizeInBytes / (sectorBytes * kVolumeScanChunkSectors));
  progress_.report(bar);
  VolumeSearchProgress start;
  start.barValue = 0;
  progress_.report(start);
  VolumeSearchProgress noTimeYet;
  noTimeYet.timeRemaining = "";
  progress_.report(noTimeYet);

  SweepState state;
  state.totalSectors = media_.sizeInBytes / sectorBytes;
  // The last partial chunk is swept too: a volume lying there would otherwise never be found.
  const std::uint64_t chunks = (state.totalSectors + kVolumeScanChunkSectors - 1) / kVolumeScanChunkSectors;
  std::vector<std::byte> buffer(static_cast<std::size_t>(sectorBytes * kVolumeScanChunkSectors), std::byte{0});
  state.estimateStart = std::chrono::steady_clock::now();
  state.chunksToEstimate = chunks;
  // On sectors larger than 1 KiB the header lies inside a sector, not at its start.
  const auto headerOffsetInSector = static_cast<std::uint32_t>(kVolumeHeaderOffset % sectorBytes);

  std::uint64_t n = 1;
  for (std::uint64_t c = 0; c < state.totalSectors && !media_.abortVolumeScan; c += kVolumeScanChunkSectors, ++n) {
    ++state.estimateCounter;
    const double elapsed = secondsSince(state.estimateStart);
    const double left = state.chunksToEstimate > state.estimateCounter
                            ? static_cast<double>(state.chunksToEstimate - state.estimateCounter)
                            : 0.0;
    if (!progress_.sweepOfferPending()) {
      VolumeSearchProgress position;
      position.barValue = n;
      position.timeRemaining = getTimeFormStringForInterval(left * elapsed / static_cast<double>(state.estimateCounter));
      progress_.offerSweepPosition(position);
    }
    const std::uint64_t count = std::min(kVolumeScanChunkSectors, state.totalSectors - c);
    // An unreadable chunk leaves the buffer as it was; its stale headers fail their own re-read.
    (void)media_.readSector(c, static_cast<std::int32_t>(count), buffer);
    state.remainingChunks = chunks - n;
    for (std::uint64_t i = 0; i < count && !media_.abortVolumeScan; ++i) {
      const ByteSpan sector = ByteSpan(buffer).subspan(static_cast<std::size_t>(i * sectorBytes),
                                                       static_cast<std::size_t>(sectorBytes));
      auto looksLikeHeader = [&](std::size_t offset) {
        return fits(sector.size(), offset, 2) && isHfsPlusSignature(be16(sector, offset));
      };
      if (looksLikeHeader(0) || (headerOffsetInSector != 0 && looksLikeHeader(headerOffsetInSector)))
        testCandidate(c + i, headerOffsetInSector, state, volumeScanFoundArray);
    }
  }

  for (const PartitionRow& volume : search_.volumeScanArray) foundVolumes.push_back(volume);
}

bool LostVolumeScan::readHeaderAt(std::uint64_t sector, std::uint32_t offsetInSector) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(media_.u32BytesInSector), std::byte{0});
  if (!media_.readSector(sector, 1, bytes)) return false;
  if (!fits(bytes.size(), offsetInSector, kVolumeInformationBlockSize)) return false;
  const auto header = parseVolumeInformationBlock(ByteSpan(bytes).subspan(offsetInSector));
  if (!header) return false;
  vib_ = *header;
  return true;
}

void LostVolumeScan::testCandidate(std::uint64_t v, std::uint32_t offsetInSector, SweepState& state,
                                   std::vector<Dict>& volumeScanFoundArray) {
  if (!readHeaderAt(v, offsetInSector) || !verifyVIB(vib_)) return;
  // A copy of a header met before, or a volume cloned from one, is looked at once only.
  if (search_.btreeForVIBCreateDate->retrieveKeyField(vib_.createDate) != nullptr) return;
  (void)search_.btreeForVIBCreateDate->insert(CountedKeyItem{vib_.createDate, 0});

  const auto sectorBytes = static_cast<std::uint64_t>(media_.u32BytesInSector);
  const std::uint64_t headerSectors = kVolumeHeaderOffset / sectorBytes;
  const std::uint64_t length = std::uint64_t{vib_.totalBlocks} * (vib_.blockSize / sectorBytes);
  const bool hasPrimaryStart = v >= headerSectors;
  const std::uint64_t start = hasPrimaryStart ? v - headerSectors : 0;
  if (hasPrimaryStart && start + length < state.totalSectors)
    testVolumeAt(start, 0, start, state, volumeScanFoundArray);

  // Far enough in, the header may be the alternate of a volume lying before it.
  if (!hasPrimaryStart || start <= length) return;
  if (!readHeaderAt(v, offsetInSector) || !verifyVIB(vib_)) return;
  const std::uint64_t alternateLength = std::uint64_t{vib_.totalBlocks} * (vib_.blockSize / sectorBytes);
  if (v + headerSectors < alternateLength) return;
  const std::uint64_t alternateStart = v + headerSectors - alternateLength;
  testVolumeAt(alternateStart, v, alternateStart, state, volumeScanFoundArray);
}

void LostVolumeScan::testVolumeAt(std::uint64_t start, std::uint64_t whetherAlternateSector, std::uint64_t rowSector,
                                  SweepState& state, std::vector<Dict>& volumeScanFoundArray) {
  media_.HPlusVolStart = start;
  VolumeSearchProgress checkBegins;
  checkBegins.validityAnimation = ProgressAnimation::kStart;
  checkBegins.checking = true;
  progress_.report(checkBegins);
  const std::size_t listedBefore = search_.volumeScanArray.size();
  DictArray validity;
  verifyVolumeAndGetData(validity, whetherAlternateSector);
  state.estimateStart = std::chrono::steady_clock::now();
  VolumeSearchProgress checkEnds;
  checkEnds.validityAnimation = ProgressAnimation::kStop;
  progress_.report(checkEnds);
  // The caller goes by the word in position 1, whatever was appended behind it.
  const bool usable = validity.size() > 1 && validity[1].toString() != "Invalid";
  if (usable) {
    const auto& found = search_.volFoundAtSectorArray;
    if (std::find(found.begin(), found.end(), start) != found.end()) {
      // Only the row this check added goes; one of an earlier volume stays offered.
      if (search_.volumeScanArray.size() > listedBefore) search_.volumeScanArray.pop_back();
    } else {
      Dict row{{"Found Column", foundColumnText(rowSector)}, {"Validity Column", DictValue(validity)}};
      volumeScanFoundArray.push_back(row);
      search_.volFoundAtSectorArray.push_back(start);
      VolumeSearchProgress find;
      find.foundRow = std::move(row);
      progress_.report(find);
    }
  }
  state.chunksToEstimate = state.remainingChunks;
  state.estimateCounter = 0;
}

bool LostVolumeScan::verifyVIB(const VolumeInformationBlock& header) const {
  const auto sectorBytes = static_cast<std::uint32_t>(media_.u32BytesInSector);
  if (sectorBytes == 0 || header.blockSize == 0 || header.blockSize % sectorBytes != 0) return false;
  const std::uint32_t perBlock = header.blockSize / sectorBytes;
  if (perBlock != 2 && perBlock != 4 && perBlock != 8 && perBlock != 16) return false;
  auto forkIsSet = [](const HFSPlusForkData& fork) {
    return fork.logicalSize != 0 && fork.clumpSize != 0 && fork.totalBlocks != 0 && fork.extents[0].startBlock != 0 &&
           fork.extents[0].blockCount != 0;
  };
  return forkIsSet(header.catalogFile) && forkIsSet(header.extentsFile) && header.createDate != 0 &&
         header.modifyDate != 0 && header.dataClumpSize != 0 && header.fileCount != 0 && header.folderCount != 0 &&
         header.signature != 0 && header.totalBlocks != 0;
}

}  // namespace nua
