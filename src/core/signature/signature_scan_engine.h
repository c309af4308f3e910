// The carving engine: one loop, parameterised per kind of search (whole disk, HFS+ or FAT free space,
// whole volume; plain or with the file checks first), that walks a source buffer by buffer, asks the
// free-space and known-file filters, runs the checks and hands every find to a sink.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "filecheck/file_check_list.h"
#include "filecheck/file_check_scan_state.h"
#include "formats/format_context.h"
#include "media/sector_source.h"
#include "signature/sig.h"
#include "signature/signature_tables.h"

namespace nua {

// The seven searches. "Plain" ones use the signature tables only; "Photo" ones try the file checks
// first and then the tables.
enum class SignatureScanLoop {
  kDiskSectors,          // signatureSearchDiskStartAt:
  kHfsVolume,            // signatureSearchStartAt:
  kFatVolume,            // signatureSearchFATStartAt:
  kDiskPhoto,            // signatureSearchDiskPhotoMethodStartAt:
  kHfsFreeSpacePhoto,    // signatureSearchOnFreeSpaceOnlyStartAt:
  kFatFreeSpacePhoto,    // signatureSearchOnFreeSpaceOnFATVolumeStartAt:
  kWholeVolumePhoto,     // signatureSearchVolPhotoAndFileRecoveryMethodStartAt:
};

// Units per buffer of the 40-unit loops.
inline constexpr std::uint32_t kUnitsPerBuffer = 40;
// The whole-disk loop reads 317 sectors and examines the first 315, so a header up to 1024 bytes into
// the last examined sector still lies inside what was read.
inline constexpr std::uint32_t kDiskBufferSectors = 317;
inline constexpr std::uint32_t kDiskStepsPerBuffer = 315;

// What tells the loops apart; everything else is shared.
struct ScanLoopTraits {
  bool combined = false;          // file checks before the tables
  bool diskSectors = false;       // the 317-sector whole-disk loop; a unit is one sector
  bool fatClusters = false;       // units are clusters of a FAT volume
  bool freeSpaceFilter = false;   // used units are passed over
  bool everySector = true;        // every sector of a unit is a candidate, else only its first
  bool refreshEveryStep = true;   // else once a buffer
  bool knownFileFilter = false;   // units where a file of the tree starts are passed over
  bool saveBeforeFilter = false;  // the position is counted even on used units
  bool jumpInsideBuffer = false;  // a file-check find shorter than the buffer is jumped over too
};
[[nodiscard]] ScanLoopTraits traitsOf(SignatureScanLoop loop);

// Where the scanned object lies and how it is divided. Sectors are absolute on the source.
struct SignatureScanGeometry {
  std::uint32_t bytesPerSector = 512;
  std::uint64_t volumeStartSector = 0;  // HPlusVolStart; 0 on a whole disk
  std::uint64_t sizeInSectors = 0;      // sizeInSect of the drive or volume
  std::uint32_t blockSize = 1;          // sectors per block
  std::uint64_t totalBlocks = 0;        // blocks as the drive or volume was opened
  std::uint64_t blocksStartSector = 0;  // blocksStartsAtSector: shifts the whole-volume known-file key
  std::uint32_t sectorsPerCluster = 0;  // FAT: u8SectorPerCluster
  std::uint64_t firstDataSector = 0;    // FAT: cluster 2's sector, from the volume start
};

// The units a search covers: the first, and one past the last.
struct ScanUnitRange {
  std::uint64_t totalUnits = 0;
  std::uint64_t firstUnit = 0;
  std::uint64_t endUnit = 0;
};
// The range from the two sliders' percentages, in single-precision arithmetic as the sliders give it.
// A zero block or cluster size gives an empty range.
[[nodiscard]] ScanUnitRange scanUnitRange(SignatureScanLoop loop, const SignatureScanGeometry& geometry,
                                          float startPercent, float endPercent);

// Which units are in use, 40 at a time, for the free-space filter.
class FreeSpaceMap {
 public:
  virtual ~FreeSpaceMap() = default;
  // used[k] tells whether unit firstUnit + k is in use; a unit that cannot be told counts as used.
  virtual void fillUsed(std::uint64_t firstUnit, std::array<bool, kUnitsPerBuffer>& used) = 0;
};

// The first blocks (or clusters) of files already in the tree.
class KnownFileStarts {
 public:
  virtual ~KnownFileStarts() = default;
  [[nodiscard]] virtual bool startsAt(std::uint64_t key) const = 0;
};

// Where a find lies: on the source, and as the search records it (from the volume start).
struct CarvedPosition {
  std::uint64_t absoluteSector = 0;
  std::uint64_t recordedSector = 0;
};

// Receives the finds; registration in the tree and the record file happens behind it.
class CarvedFindSink {
 public:
  virtual ~CarvedFindSink() = default;
  // A find of the signature tables with the row that matched (the primary or one of its extraExts);
  // the row's foundSize and the context's foundName and foundParentPath are as the check left them.
  virtual void addSignatureFind(const CarvedPosition& at, const Sig& row, FormatContext& context) = 0;
  // A find of a file check with the size it measured (above 0).
  virtual void addFileCheckFind(const CarvedPosition& at, const FileCheck& check, std::uint64_t sizeBytes) = 0;
  // The JPEG preview inside a camera RAW file, 1025 bytes or more, starting `extraBytes` into the sector
  // `at`; the saved file must start there, not at the sector's first byte.
  virtual void addRawJpgFind(const CarvedPosition& at, std::uint32_t extraBytes, std::uint64_t sizeBytes) = 0;
};

// Keeps the position a crashed search resumes from.
class ResumePositionSink {
 public:
  virtual ~ResumePositionSink() = default;
  virtual void savePosition(std::uint64_t unit) = 0;
};
// For a search without a recovery pair: nothing is written anywhere.
class NullResumePositionSink final : public ResumePositionSink {
 public:
  void savePosition(std::uint64_t /*unit*/) override {}
};

// Numbers only: texts are made by whoever shows them, and only when they do.
struct SignatureScanProgress {
  std::uint64_t unitsDone = 0;
  std::uint64_t totalUnits = 0;
  std::uint64_t bytesDone = 0;
  std::uint64_t totalBytes = 0;
  std::uint64_t finds = 0;
  double elapsedSeconds = 0;
  double bytesPerSecond = 0;
};
class SignatureScanProgressSink {
 public:
  virtual ~SignatureScanProgressSink() = default;
  // Called at the loop's refresh cadence; must not block the scan.
  virtual void publish(const SignatureScanProgress& progress) = 0;
};

// The file checks of a combined loop and the state they share.
struct FileCheckStage {
  FileCheckList* list = nullptr;
  FileCheckScanState* state = nullptr;
};

// Everything one search uses; the engine owns none of it.
struct SignatureScanSetup {
  SignatureScanLoop loop = SignatureScanLoop::kDiskSectors;
  SignatureScanGeometry geometry;
  float startPercent = 0;
  float endPercent = 100;
  SectorSource* source = nullptr;              // the device; required
  SignatureTables* tables = nullptr;           // may be empty
  FormatContext* context = nullptr;            // required; its volume start is set by the engine
  FileCheckStage fileChecks;                   // combined loops
  FreeSpaceMap* freeSpace = nullptr;           // free-space loops; none: every unit counts as free
  const KnownFileStarts* knownFiles = nullptr;
  CarvedFindSink* finds = nullptr;             // required
  ResumePositionSink* resume = nullptr;        // none: positions are not kept
  SignatureScanProgressSink* progress = nullptr;
  const std::atomic<bool>* stop = nullptr;
};

struct SignatureScanResult {
  std::uint64_t finds = 0;
  std::uint64_t unreadableSectors = 0;
  bool stopped = false;
};

// Runs the search from `resumeUnit` (exactly there; 0 for a fresh search, which starts at the range's
// first unit). Returns at the range's end or on the stop flag; a read failure never ends a search.
[[nodiscard]] SignatureScanResult runSignatureScan(const SignatureScanSetup& setup, std::uint64_t resumeUnit);

}  // namespace nua
