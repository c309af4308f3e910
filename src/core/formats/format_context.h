// What a signature format check is handed besides the sector: where the volume lies on the device,
// the stop flag, and the state that lives across checks of one scan (done lists, RTFD attachments).
// A check reports through the row it is given (FormatRow) and, for Outlook records, foundName and
// foundParentPath here.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace nua {

// Absolute sectors at which a frame or pack of an already walked stream starts. The ordered list is
// what the recovery file keeps; the set answers "seen?" without a linear search.
class DoneSectorList {
 public:
  void add(std::uint64_t sector) {
    if (seen_.insert(sector).second) ordered_.push_back(sector);
  }
  [[nodiscard]] bool contains(std::uint64_t sector) const { return seen_.count(sector) != 0; }
  [[nodiscard]] const std::vector<std::uint64_t>& sectors() const { return ordered_; }
  void clear() {
    seen_.clear();
    ordered_.clear();
  }

 private:
  std::unordered_set<std::uint64_t> seen_;
  std::vector<std::uint64_t> ordered_;
};

// One picture an RTF saved from an RTFD package names: the carved images are later matched against it.
struct RtfGraphic {
  std::string fileName;
  int width = 0;   // points (twips over 20)
  int height = 0;  // points
};

// The attachments awaited after an RTFD's text was found. The registration adds the wrapper's sector
// and folder when it makes the RTFD folder.
struct RtfdState {
  std::vector<RtfGraphic> graphics;                 // one per expected picture, in the text's order
  std::optional<std::uint64_t> wrapperBlockNumber;  // "RTF Graphics Wrapper Block Number"
  std::uint32_t parentFolderId = 0;                 // the RTFD folder's fileID ("RTF Graphics Parent NDir")
  bool lookForRtfAttachments = false;
};

struct FormatContext {
  std::uint32_t bytesPerSector = 512;
  std::uint64_t volumeStartSector = 0;  // HPlusVolStart
  std::uint64_t blocksStartSector = 0;  // blocksStartsAtSector
  std::uint64_t deviceEndSector = 0;    // the device's sectors (blockSize times totalBlocks)
  const std::atomic<bool>* stopFlag = nullptr;  // stopTreeThread

  DoneSectorList mp3Done;  // mp3DoneArray
  DoneSectorList mpgDone;  // mpgDoneArray
  RtfdState rtfd;
  std::optional<std::string> foundName;        // set by the Outlook record checks
  std::optional<std::string> foundParentPath;  // set by the Outlook record checks

  [[nodiscard]] bool stopRequested() const { return stopFlag != nullptr && stopFlag->load(std::memory_order_relaxed); }
  // The absolute sector a check reads for the given scan sector.
  [[nodiscard]] std::uint64_t baseSector(std::uint64_t sector) const {
    return sector + volumeStartSector + blocksStartSector;
  }
  // Empties the lists at the start of a fresh scan.
  void resetForNewScan() {
    mp3Done.clear();
    mpgDone.clear();
    rtfd = RtfdState{};
    foundName.reset();
    foundParentPath.reset();
  }
};

// The fields of a signature row that the checks read (type, extension, maximum sizes) and write
// (the scratch verdict and the extension changes). The dispatch copies them to and from the row.
struct FormatRow {
  std::uint32_t typeOfFile = 0;
  std::string extension;
  std::uint64_t userSize = 0;     // MiB
  std::uint32_t defaultSize = 0;  // MiB
  std::uint64_t foundSize = 0;    // bytes
  std::uint64_t skipSize = 0;     // sectors
  bool skipFileSize = false;
};

}  // namespace nua
