#include "signature/signature_scan_engine.h"

#include <algorithm>

#include "signature/detail/signature_scan_runner.h"

namespace nua {

ScanLoopTraits traitsOf(SignatureScanLoop loop) {
  ScanLoopTraits t;
  switch (loop) {
    case SignatureScanLoop::kDiskSectors:
      t.diskSectors = true;
      break;
    case SignatureScanLoop::kHfsVolume:
      t.freeSpaceFilter = t.knownFileFilter = true;
      break;
    case SignatureScanLoop::kFatVolume:
      t.fatClusters = t.freeSpaceFilter = t.knownFileFilter = t.saveBeforeFilter = true;
      break;
    case SignatureScanLoop::kDiskPhoto:
      t.combined = t.jumpInsideBuffer = true;
      t.everySector = t.refreshEveryStep = false;
      break;
    case SignatureScanLoop::kHfsFreeSpacePhoto:
      t.combined = t.freeSpaceFilter = t.knownFileFilter = true;
      t.refreshEveryStep = false;
      break;
    case SignatureScanLoop::kFatFreeSpacePhoto:
      t.combined = t.fatClusters = t.freeSpaceFilter = t.knownFileFilter = true;
      break;
    case SignatureScanLoop::kWholeVolumePhoto:
      t.combined = t.knownFileFilter = true;
      t.refreshEveryStep = false;
      break;
  }
  return t;
}

ScanUnitRange scanUnitRange(SignatureScanLoop loop, const SignatureScanGeometry& geometry, float startPercent,
                            float endPercent) {
  ScanUnitRange range;
  switch (loop) {
    case SignatureScanLoop::kDiskSectors:
      range.totalUnits = geometry.sizeInSectors;
      break;
    case SignatureScanLoop::kWholeVolumePhoto:
      range.totalUnits = geometry.blockSize == 0 ? 0 : geometry.sizeInSectors / geometry.blockSize;
      break;
    case SignatureScanLoop::kFatVolume:
    case SignatureScanLoop::kFatFreeSpacePhoto:
      range.totalUnits = geometry.sectorsPerCluster == 0 ? 0 : geometry.sizeInSectors / geometry.sectorsPerCluster;
      break;
    default:
      range.totalUnits = geometry.blockSize == 0 ? 0 : geometry.totalBlocks;
      break;
  }
  const auto truncated = [](float value) { return value <= 0.0F ? std::uint64_t{0} : static_cast<std::uint64_t>(value); };
  const float total = static_cast<float>(range.totalUnits);
  range.firstUnit = truncated(total * startPercent / 100.0F);
  range.endUnit = range.firstUnit + truncated((endPercent - startPercent) * total / 100.0F);
  return range;
}

SignatureScanResult runSignatureScan(const SignatureScanSetup& setup, std::uint64_t resumeUnit) {
  if (setup.source == nullptr || setup.context == nullptr || setup.finds == nullptr) return {};
  detail::SignatureScanRunner runner(setup, scanUnitRange(setup.loop, setup.geometry, setup.startPercent,
                                                          setup.endPercent));
  return runner.run(resumeUnit);
}

namespace detail {

SignatureScanRunner::SignatureScanRunner(const SignatureScanSetup& setup, ScanUnitRange range)
    : setup_(setup), traits_(traitsOf(setup.loop)), range_(range),
      bytesPerSector_(setup.source->bytesPerSector() == 0 ? 512 : setup.source->bytesPerSector()),
      sectorsPerUnit_(traits_.diskSectors ? 1
                      : traits_.fatClusters ? setup.geometry.sectorsPerCluster
                                            : setup.geometry.blockSize),
      saveInterval_(setup.geometry.blockSize < 2 ? 20000 : 2500),
      headerCopy_(kFileCheckHeaderBytes) {}

SignatureScanResult SignatureScanRunner::run(std::uint64_t resumeUnit) {
  if (sectorsPerUnit_ == 0) return result_;
  FormatContext& context = *setup_.context;
  // Checks read at the candidate's own sector: the recorded number counts from the volume start.
  context.volumeStartSector = setup_.geometry.volumeStartSector;
  context.blocksStartSector = 0;
  context.stopFlag = setup_.stop;
  std::uint64_t start = resumeUnit != 0 ? resumeUnit : range_.firstUnit;
  // FAT clusters 0 and 1 name no data.
  if (traits_.fatClusters) start = std::max<std::uint64_t>(start, 2);
  progressCounter_ = start > range_.firstUnit ? start - range_.firstUnit : 0;
  started_ = std::chrono::steady_clock::now();
  if (start >= range_.endUnit) return result_;
  if (traits_.diskSectors) {
    runDiskSectors(start);
  } else {
    runFortyUnits(start);
  }
  result_.stopped = stopRequested();
  return result_;
}

std::uint64_t SignatureScanRunner::unitFirstSector(std::uint64_t unit) const {
  const SignatureScanGeometry& g = setup_.geometry;
  if (traits_.fatClusters) return g.volumeStartSector + g.firstDataSector + (unit - 2) * sectorsPerUnit_;
  return g.volumeStartSector + unit * sectorsPerUnit_;
}

std::uint64_t SignatureScanRunner::unitsForBytes(std::uint64_t bytes) const {
  const std::uint64_t sectors = (bytes + bytesPerSector_ - 1) / bytesPerSector_;
  return (sectors + sectorsPerUnit_ - 1) / sectorsPerUnit_;
}

bool SignatureScanRunner::knownFileStartsAt(std::uint64_t unit) const {
  if (!traits_.knownFileFilter || setup_.knownFiles == nullptr) return false;
  std::uint64_t key = unit;
  // The whole-volume search keys blocks counted from the data area where the volume has one.
  if (setup_.loop == SignatureScanLoop::kWholeVolumePhoto && setup_.geometry.blocksStartSector != 0) {
    if (unit < 2) return false;
    key = unit - 2;
  }
  return setup_.knownFiles->startsAt(key);
}

void SignatureScanRunner::countForResume() {
  if (++saveCounter_ <= saveInterval_) return;
  savePending_ = true;
  saveCounter_ = 0;
}

void SignatureScanRunner::savePositionAtBufferStart(std::uint64_t unit) {
  if (!savePending_) return;
  savePending_ = false;
  if (setup_.resume != nullptr) setup_.resume->savePosition(unit);
}

void SignatureScanRunner::refresh() {
  if (setup_.progress == nullptr || progressCounter_ == 0) return;
  SignatureScanProgress p;
  p.unitsDone = progressCounter_;
  p.totalUnits = range_.endUnit - range_.firstUnit;
  const std::uint64_t unitBytes = std::uint64_t{sectorsPerUnit_} * bytesPerSector_;
  p.bytesDone = p.unitsDone * unitBytes;
  p.totalBytes = p.totalUnits * unitBytes;
  p.finds = result_.finds;
  p.elapsedSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  p.bytesPerSecond = p.elapsedSeconds > 0 ? static_cast<double>(p.bytesDone) / p.elapsedSeconds : 0;
  setup_.progress->publish(p);
}

void SignatureScanRunner::readBuffer(std::uint64_t sector, std::uint32_t count) {
  const std::size_t bytes = std::size_t{count} * bytesPerSector_;
  if (buffer_.size() < bytes) buffer_.resize(bytes);
  sectorReadable_.assign(count, true);
  if (setup_.source->readSectors(sector, count, buffer_)) return;
  for (std::uint32_t k = 0; k < count; ++k) {
    std::span<std::byte> one(buffer_.data() + std::size_t{k} * bytesPerSector_, bytesPerSector_);
    if (!setup_.source->readSectors(sector + k, 1, one)) {
      sectorReadable_[k] = false;
      ++result_.unreadableSectors;
    }
  }
}

}  // namespace detail
}  // namespace nua
