#include "app/signature_search.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <vector>

#include "app/signature_search_progress.h"
#include "fat/fat_table.h"
#include "filecheck/file_check_list.h"
#include "media/read_ahead_source.h"
#include "records/entry_ops.h"
#include "signature/free_space_maps.h"
#include "signature/signature_tables.h"

namespace nua {
namespace {

// The tree's table of first blocks (or clusters) of the files it already holds.
class FirstFileBlocks final : public KnownFileStarts {
 public:
  explicit FirstFileBlocks(CountedKeyTable* table) : table_(table) {}
  [[nodiscard]] bool startsAt(std::uint64_t key) const override {
    return table_ != nullptr && table_->retrieveKeyField(key) != nullptr;
  }

 private:
  CountedKeyTable* table_;
};

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// The check list's word for a row served by a file check; nothing for a row no check serves ("srf").
std::optional<std::string> formatWordOf(const Sig& row) {
  const std::string extension = lowerCase(row.extension);
  if (extension == "tif" || extension == "tiff") return "tiff";
  if (extension == "3fr") return "threeFr";
  if (extension == "3gp") return "threeGp";
  if (extension == "3g2") return "threeGTwo";
  // One extension, two makers: the row's display name tells them apart.
  if (extension == "raw") {
    if (row.software.rfind("Leica", 0) == 0) return "leica";
    if (row.software.rfind("Panasonic", 0) == 0) return "rawPanasonic";
    return std::nullopt;
  }
  const auto& words = FileCheckList::formatWordsInOrder();
  if (std::find(words.begin(), words.end(), extension) != words.end()) return extension;
  return std::nullopt;
}

// The marked rows split between the file checks and the signature tables. The plain loops put every
// row into the tables; the combined ones give the rows a file check serves to the check list.
struct SearchRows {
  std::set<std::string> formatWords;
  std::vector<const Sig*> tableRows;
};
SearchRows searchRows(const SigSelArray& signatures, bool combined) {
  SearchRows rows;
  for (const auto& node : signatures) {
    if (!node || !node->sig) continue;
    const Sig& row = *node->sig;
    if (!combined || row.typeOfFile != 1) {
      rows.tableRows.push_back(&row);
    } else if (const auto word = formatWordOf(row)) {
      rows.formatWords.insert(*word);
    }
  }
  return rows;
}

std::uint32_t bytesPerSectorOf(const Volume& volume) {
  return volume.u32BytesInSector > 0 ? static_cast<std::uint32_t>(volume.u32BytesInSector) : 512U;
}

std::uint32_t fatEntryBits(const std::string& volumeContent) {
  const std::optional<FatBits> bits = fatBitsOf(volumeContent);
  if (!bits) return 0;
  switch (*bits) {
    case FatBits::kFat12: return 12;
    case FatBits::kFat16: return 16;
    case FatBits::kFat32: return 32;
  }
  return 0;
}

std::uint64_t sectorsPerUnit(SignatureScanLoop loop, const SignatureScanGeometry& geometry) {
  const ScanLoopTraits traits = traitsOf(loop);
  if (traits.diskSectors) return 1;
  return traits.fatClusters ? geometry.sectorsPerCluster : geometry.blockSize;
}

const char* statusOf(SignatureScanLoop loop) {
  const bool wholeDisk = loop == SignatureScanLoop::kDiskSectors || loop == SignatureScanLoop::kDiskPhoto;
  return wholeDisk ? progress_text::kScanStatus : progress_text::kSearchingLostFiles;
}

// The root the finds go under, made first if the tree has none.
void makeSearchRoot(Volume& volume) {
  if (!volume.arena) volume.arena = std::make_shared<EntryArena>();
  if (volume.dirRoot == nullptr) {
    volume.dirRoot = makeRootDir(*volume.arena, volume.tables.btree.get());
    volume.dirRoot->blockBaseSector = static_cast<std::uint32_t>(volume.blocksStartsAtSector);
  }
}

}  // namespace

SignatureScanGeometry signatureScanGeometry(const Volume& volume) {
  SignatureScanGeometry g;
  g.bytesPerSector = bytesPerSectorOf(volume);
  g.volumeStartSector = volume.HPlusVolStart;
  g.sizeInSectors = volume.sizeInSect;
  g.blockSize = static_cast<std::uint32_t>(std::max(volume.blockSize, 0));
  g.totalBlocks = volume.totalBlocks;
  g.blocksStartSector = volume.blocksStartsAtSector;
  g.sectorsPerCluster = volume.fat.u8SectorPerCluster;
  // Cluster 2 starts past the reserved sectors, the tables and (FAT12/16) the root directory.
  g.firstDataSector = std::uint64_t{volume.fat.u16ReservedSectorCount} +
                      std::uint64_t{volume.fat.u16NumberOfFats} * volume.fat.u32FATSize +
                      volume.fat.u32RootDirectorySectors;
  return g;
}

std::unique_ptr<FreeSpaceMap> freeSpaceMapFor(const Volume& volume, SignatureScanLoop loop, SectorSource& source) {
  const ScanLoopTraits traits = traitsOf(loop);
  if (!traits.freeSpaceFilter) return nullptr;
  const SignatureScanGeometry g = signatureScanGeometry(volume);
  if (traits.fatClusters) {
    const std::uint32_t bits = fatEntryBits(volume.volumeContent);
    std::uint64_t clusters = 0;
    if (bits != 0 && g.sectorsPerCluster != 0 && g.sizeInSectors > g.firstDataSector) {
      clusters = (g.sizeInSectors - g.firstDataSector) / g.sectorsPerCluster;
      // Never past the entries the table has room for.
      const std::uint64_t tableEntries = std::uint64_t{volume.fat.u32FATSize} * g.bytesPerSector * 8U / bits;
      clusters = std::min(clusters, tableEntries > 2 ? tableEntries - 2 : 0);
    }
    return std::make_unique<FatTableFreeSpace>(source, g.volumeStartSector + volume.fat.u16ReservedSectorCount, bits,
                                               clusters);
  }
  std::vector<AllocationFileExtent> extents;
  for (const Extent& extent : volume.tables.allocationExt) extents.push_back({extent.startBlock, extent.blockCount});
  return std::make_unique<HfsAllocationFreeSpace>(source, g.volumeStartSector, g.blockSize, std::move(extents));
}

SignatureScanResult runSignatureSearch(Volume& volume, SignatureScanLoop loop, const SigSelArray& signatures,
                                       std::uint64_t resumeUnit, ProgressSink& progress,
                                       const SignatureSearchRecovery& recovery) {
  makeSearchRoot(volume);
  int openError = 0;
  const std::shared_ptr<DeviceFile> file = volume.deviceFile(openError);
  if (!file) return {};
  const SignatureScanGeometry geometry = signatureScanGeometry(volume);
  // One descriptor for the whole search, read ahead in large pieces while the sectors are checked.
  DeviceSectorSource plain(file, geometry.bytesPerSector);
  ReadAheadSource source(plain, {}, file.get());

  const ScanLoopTraits traits = traitsOf(loop);
  const SearchRows rows = searchRows(signatures, traits.combined);
  SignatureTables tables;
  tables.populate(rows.tableRows);
  FileCheckScanState checkState;
  checkState.bytesInSector = geometry.bytesPerSector;
  checkState.cancelScanning = &volume.stopTreeThread;
  FileCheckList checks = FileCheckList::build(rows.formatWords, source, checkState);

  const ScanUnitRange whole = scanUnitRange(loop, geometry, 0.0F, 100.0F);
  const std::uint64_t unitSectors = sectorsPerUnit(loop, geometry);
  FormatContext context;
  context.bytesPerSector = geometry.bytesPerSector;
  context.deviceEndSector = whole.totalUnits * unitSectors;
  for (std::uint64_t sector : recovery.mp3DoneArray) context.mp3Done.add(sector);
  for (std::uint64_t sector : recovery.mpgDoneArray) context.mpgDone.add(sector);

  const std::unique_ptr<FreeSpaceMap> freeSpace = freeSpaceMapFor(volume, loop, source);
  const FirstFileBlocks knownFiles(volume.tables.btreeFirstFileBlock.get());
  CarvedRegistrarSetup registration;
  registration.arena = volume.arena.get();
  registration.root = volume.dirRoot;
  registration.maxFileID = &volume.maxFileID;
  registration.writer = recovery.records;
  registration.bytesPerSector = geometry.bytesPerSector;
  registration.deviceBytes = context.deviceEndSector * geometry.bytesPerSector;
  registration.resumed = volume.autoCrashRecovery;
  CarvedEntryRegistrar registrar(registration);

  const ScanCounts before = volume.counts();
  auto countsNow = [&before, &registrar] {
    const CarveCounters& carved = registrar.counters();
    return ScanCounts{before.entries + carved.entryCount, before.folders + carved.folderCount,
                      before.files + carved.fileCount, before.data + carved.dataSize};
  };
  SignatureSearchProgress shown(progress, statusOf(loop), countsNow);
  const ScanUnitRange range = scanUnitRange(loop, geometry, volume.startPos, volume.endPos);
  shown.open(range.endUnit > range.firstUnit ? range.endUnit - range.firstUnit : 0);

  NullResumePositionSink noPositions;
  SignatureScanSetup setup;
  setup.loop = loop;
  setup.geometry = geometry;
  setup.startPercent = volume.startPos;
  setup.endPercent = volume.endPos;
  setup.source = &source;
  setup.tables = &tables;
  setup.context = &context;
  if (traits.combined) setup.fileChecks = FileCheckStage{&checks, &checkState};
  setup.freeSpace = freeSpace.get();
  setup.knownFiles = &knownFiles;
  setup.finds = &registrar;
  setup.resume = recovery.positions != nullptr ? recovery.positions : &noPositions;
  setup.progress = &shown;
  setup.stop = &volume.stopTreeThread;
  const SignatureScanResult result = runSignatureScan(setup, resumeUnit);

  const ScanCounts after = countsNow();
  volume.counters.entryCount = after.entries;
  volume.counters.folderCount = after.folders;
  volume.counters.fileCount = after.files;
  volume.counters.dataSize = after.data;
  return result;
}

SignatureScanResult runRecoverableSignatureSearch(Volume& volume, SignatureScanLoop loop,
                                                  const ScanArguments& arguments, std::size_t signaturesIndex,
                                                  ScanRunSink& progress) {
  makeSearchRoot(volume);  // the pair holds the tree from its root
  const SignatureSearchRecovery recovery = progress.signatureSearchStarting(volume);
  const SignatureScanResult result =
      runSignatureSearch(volume, loop, signatureSearchSignatures(arguments, signaturesIndex),
                         signatureSearchResumePosition(arguments), progress, recovery);
  progress.signatureSearchCleanUp();
  return result;
}

std::optional<SignatureScanLoop> hfsSearchLoop(std::int64_t method) {
  if (method == 0) return SignatureScanLoop::kHfsVolume;
  if (method == 1) return SignatureScanLoop::kHfsFreeSpacePhoto;
  return std::nullopt;
}

std::optional<SignatureScanLoop> fatSearchLoop(std::int64_t method) {
  if (method == 0) return SignatureScanLoop::kFatVolume;
  if (method == 1) return SignatureScanLoop::kFatFreeSpacePhoto;
  return std::nullopt;
}

std::optional<SignatureScanLoop> diskSearchLoop(std::int64_t method) {
  if (method == 0) return SignatureScanLoop::kDiskSectors;
  if (method == 1) return SignatureScanLoop::kDiskPhoto;
  return std::nullopt;
}

std::uint64_t signatureSearchResumePosition(const ScanArguments& arguments) {
  if (arguments.size() < 2) return 0;
  const auto* last = std::get_if<std::string>(&arguments.back());
  if (last == nullptr || *last != "auto") return 0;
  const auto* position = std::get_if<std::int64_t>(&arguments[arguments.size() - 2]);
  return position != nullptr && *position > 0 ? static_cast<std::uint64_t>(*position) : 0;
}

const SigSelArray& signatureSearchSignatures(const ScanArguments& arguments, std::size_t index) {
  static const SigSelArray kNone;
  if (index >= arguments.size()) return kNone;
  const auto* signatures = std::get_if<SigSelArray>(&arguments[index]);
  return signatures != nullptr ? *signatures : kNone;
}

}  // namespace nua
