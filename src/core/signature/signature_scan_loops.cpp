// The two buffer walks of the search: the 317-sector whole-disk walk and the 40-unit walk every other
// search shares, with the jump rules that leave a found file's body unsearched.
#include <algorithm>

#include "signature/detail/signature_scan_runner.h"

namespace nua::detail {

void SignatureScanRunner::runDiskSectors(std::uint64_t startUnit) {
  const std::uint64_t volumeStart = setup_.geometry.volumeStartSector;
  std::uint64_t sector = startUnit;
  while (sector < range_.endUnit && !stopRequested()) {
    savePositionAtBufferStart(sector);
    readBuffer(volumeStart + sector, kDiskBufferSectors);
    std::uint64_t nextRead = sector + kDiskStepsPerBuffer;
    std::uint32_t index = 0;
    while (index < kDiskStepsPerBuffer) {
      const std::uint64_t current = sector + index;
      if (current >= range_.endUnit || stopRequested()) break;
      ++progressCounter_;
      refresh();
      countForResume();
      if (!sectorReadable_[index]) {
        ++index;
        continue;
      }
      const StepJump jump = examine(index, CarvedPosition{volumeStart + current, current});
      if (jump.kind == StepJump::Kind::kOverSignatureFind && jump.units > 0) {
        progressCounter_ += jump.units;
        if (jump.units <= kDiskStepsPerBuffer - index) {
          index += static_cast<std::uint32_t>(jump.units);
          continue;
        }
        nextRead = current + jump.units;
        break;
      }
      ++index;
    }
    sector = nextRead;
  }
}

void SignatureScanRunner::runFortyUnits(std::uint64_t startUnit) {
  const std::uint64_t volumeStart = setup_.geometry.volumeStartSector;
  const std::uint32_t stepSectors = traits_.everySector ? sectorsPerUnit_ : 1;
  std::array<bool, kUnitsPerBuffer> used{};
  std::uint64_t bufferFirst = startUnit;
  std::uint32_t startIndex = 0;
  while (bufferFirst < range_.endUnit && !stopRequested()) {
    if (!traits_.refreshEveryStep) refresh();
    // A buffer entered part-way, after a jump, cannot be rebuilt from one number: save at the next.
    if (startIndex == 0) savePositionAtBufferStart(bufferFirst);
    used.fill(false);
    if (traits_.freeSpaceFilter && setup_.freeSpace != nullptr) {
      used.fill(true);
      setup_.freeSpace->fillUsed(bufferFirst, used);
    }
    const std::uint64_t bufferSector = unitFirstSector(bufferFirst);
    readBuffer(bufferSector, kUnitsPerBuffer * sectorsPerUnit_);
    std::uint64_t nextBufferFirst = bufferFirst + kUnitsPerBuffer;
    std::uint32_t nextStartIndex = 0;
    bool leaveBuffer = false;
    std::uint32_t i = startIndex;
    std::uint32_t s = 0;
    while (i < kUnitsPerBuffer && !leaveBuffer) {
      const std::uint64_t b = bufferFirst + i;
      if (b >= range_.endUnit) break;
      bool jumped = false;
      for (; s < stepSectors; ++s) {
        if (stopRequested()) {
          leaveBuffer = true;
          break;
        }
        if (s == 0) ++progressCounter_;
        if (traits_.refreshEveryStep) refresh();
        if (traits_.saveBeforeFilter) countForResume();
        if (used[i]) continue;
        if (!traits_.saveBeforeFilter) countForResume();
        if (knownFileStartsAt(b)) break;
        const std::uint32_t sectorIndex = i * sectorsPerUnit_ + s;
        if (!sectorReadable_[sectorIndex]) continue;
        const std::uint64_t absolute = bufferSector + sectorIndex;
        const StepJump jump = examine(sectorIndex, CarvedPosition{absolute, absolute - volumeStart});
        if (jump.kind == StepJump::Kind::kOverFileCheckFind) {
          const std::uint64_t t = i + jump.units;
          if (t >= kUnitsPerBuffer) {
            nextBufferFirst = bufferFirst + kUnitsPerBuffer * (t / kUnitsPerBuffer);
            nextStartIndex = static_cast<std::uint32_t>(t % kUnitsPerBuffer) + 1;
            leaveBuffer = true;
            break;
          }
          if (traits_.jumpInsideBuffer) {
            i = static_cast<std::uint32_t>(t) + 1;
            s = 0;
            jumped = true;
            break;
          }
        } else if (jump.kind == StepJump::Kind::kOverSignatureFind) {
          const std::uint64_t k = jump.units;
          if (k <= kUnitsPerBuffer - i) {
            progressCounter_ += traits_.combined ? (k == 0 ? 0 : k - 1) : k;
            i += static_cast<std::uint32_t>(k);
            ++s;
            jumped = true;
            break;
          }
          nextBufferFirst = b + k;
          nextStartIndex = 0;
          progressCounter_ += k;
          leaveBuffer = true;
          break;
        }
      }
      if (!jumped) {
        ++i;
        s = 0;
      }
    }
    bufferFirst = nextBufferFirst;
    startIndex = nextStartIndex;
  }
}

}  // namespace nua::detail
