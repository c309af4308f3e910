#include "volume/volume.h"

#include "base/log.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"
#include "volume/progress_texts.h"

namespace nua {

std::atomic<std::uint32_t> u32BytesInSectorForScanClasses{512};
std::atomic<bool> bCancelScanning{false};

namespace {

class SilentProgressSink final : public ProgressSink {
 public:
  void report(const ScanProgress&) override {}
  [[nodiscard]] bool tickPending() const override { return false; }
  void offerForTick(const ScanProgress&) override {}
  void alert(const Alert&) override {}
  void abandonScan() override {}
};

}  // namespace

ProgressSink& ProgressSink::none() {
  static SilentProgressSink sink;
  return sink;
}

std::string getTimeFormStringForInterval(double interval) {
  // A first estimate can be negative, infinite or NaN; none of those may reach the integer cast.
  if (!(interval > 0.0)) interval = 0.0;
  if (interval > 1e15) interval = 1e15;
  const double minutes = interval / 60.0;
  const auto wholeMinutes = static_cast<std::uint64_t>(minutes);
  const auto seconds = static_cast<std::uint64_t>((minutes - static_cast<double>(wholeMinutes)) * 60.0);
  const std::uint64_t days = wholeMinutes / 1440;
  const std::uint64_t hours = wholeMinutes / 60 - days * 24;
  auto two = [](std::uint64_t value) {
    std::string text = std::to_string(value);
    return text.size() == 1 ? "0" + text : text;
  };
  return std::to_string(days) + ":" + two(hours) + ":" + two(wholeMinutes % 60) + ":" + two(seconds);
}

Volume::Volume() : folderNameIndex(std::make_unique<FolderNameIndex>()) {}
Volume::~Volume() = default;

void Volume::setStopTreeThread(bool stop) {
  stopTreeThread = stop;
  bCancelScanning = stop;
}

void Volume::resetSigArraysAndBtreesAndOthers() {
  bCancelScanning = false;
  if (autoCrashRecovery) {
    // The tree, its records, the known-file table and the counts came from the recovery pair and stay;
    // the scan's lookup tables start anew.
    if (!arena) arena = std::make_shared<EntryArena>();
    if (!tables.btreeFirstFileBlock) tables.btreeFirstFileBlock = std::make_unique<CountedKeyTable>();
    if (!folderNameIndex) folderNameIndex = std::make_unique<FolderNameIndex>();
    makeLookupTables();
  } else {
    catalog.catalogExt.clear();
    catalog.extentsExt.clear();
    tables.allocationExt.clear();
    counters.entryCount = counters.folderCount = counters.fileCount = counters.dataSize = 0;
    maxFileID = kFirstFreeFileID;
    blocksStartsAtSector = 0;
  }
  stopTreeThread = false;
  openedScanInfo = false;
  catalog.catNodeSize = 0;
  counters.orphEntryCount = counters.orphEntriesTotal = counters.orphAdvScanEntryCount =
      counters.orphAdvScanEntriesTotal = 0;
}

void Volume::finishTree(ProgressSink& progress) {
  namespace text = progress_text;
  auto status = [&progress](const char* shown) {
    logLine(shown);
    progress.report(ScanProgress::withStatus(shown));
  };
  logLine(text::kRearrangingTree);
  ScanProgress rearranging = ScanProgress::withStatus(text::kRearrangingTree);
  rearranging.bar = ProgressBar::kIndeterminate;
  rearranging.animation = ProgressAnimation::kStart;
  progress.report(rearranging);
  if (dirRoot != nullptr && arena) {
    if (filterTreeForMedia) {
      status(text::kRemovingNonMediaTree);
      removeNonMediaFilesAndFolders(dirRoot, *arena);
    }
    status(text::kRemovingEmptyTree);
    removeZeroSizeFolders(dirRoot, *arena);
    status(text::kRearrangingTreeStep2);
    rearrangeTreeFromDir(dirRoot);
    status(text::kRemovingDeletedTree);
    rearrangeDeletedTree(dirRoot);
    status(text::kFixingNames);
    fixNilFileNames(dirRoot, *arena);
    // Child lists are arrays already: the viewing side indexes them directly.
    status(text::kOptimizingTree);
  }
  logLine("Removing helper trees..");
  progress.report(ScanProgress::withStatus(text::kRemovingHelperTrees));
  tables.btree.reset();
  tables.btreeAdvScan = nullptr;
  tables.btreeNormalScan.reset();
  tables.btreeFirstFileBlock.reset();
  tables.btreeForUsedCatNodeSector.reset();
  tables.btreeOrph.reset();
  tables.btreeOrphAdvScanEntries.reset();
  folderNameIndex = std::make_unique<FolderNameIndex>();
  ScanProgress done = ScanProgress::withStatus(text::kRearrangingTreeDone);
  done.animation = ProgressAnimation::kStop;
  progress.report(done);
}

void Volume::makeLookupTables() {
  tables.btree = std::make_unique<EntryTable>();
  tables.btreeAdvScan = tables.btree.get();
  tables.btreeNormalScan = std::make_unique<EntryTable>();
  tables.btreeOrph = std::make_unique<OrphanTable>();
  tables.btreeOrphAdvScanEntries = std::make_unique<OrphanTable>();
  tables.btreeForUsedCatNodeSector = std::make_unique<CountedKeyTable>();
  catalog.catalogExt.clear();
  catalog.extentsExt.clear();
  tables.allocationExt.clear();
}

void Volume::makeTables() {
  arena = std::make_shared<EntryArena>();
  tables.btreeFirstFileBlock = std::make_unique<CountedKeyTable>();
  makeLookupTables();
  counters.orphanCount = counters.entryCount = counters.fileCount = counters.folderCount = counters.dataSize = 0;
  folderNameIndex = std::make_unique<FolderNameIndex>();
}

std::unique_ptr<Volume> Volume::initWithDictionary(const Dict& dict, MediaContext context) {
  auto volume = std::make_unique<Volume>();
  volume->setContext(context);
  volume->makeTables();
  if (dict.has("WhetherDiskDict")) {
    volume->readDiskShape(dict);
  } else if (dict.has("WhetherVolume")) {
    if (dict.boolean("WhetherVolume")) volume->readLogicalVolumeShape(dict);
  } else {
    volume->readPartitionShape(dict);
  }
  u32BytesInSectorForScanClasses = static_cast<std::uint32_t>(volume->u32BytesInSector);
  return volume;
}

std::unique_ptr<Volume> Volume::initWithPartitionRow(const PartitionRow& row, MediaContext context) {
  return initWithDictionary(row.toDict(), context);
}

void Volume::readDiskShape(const Dict& dict) {
  MediaReader::initWithDictionary(dict, context());
  volumeScanType = 3;
  totalBlocks = sizeInSect;
  HPlusVolStart = 0;
  blockSize = 1;
  maxFileID = 9;
  rootName.clear();
}

void Volume::readLogicalVolumeShape(const Dict& dict) {
  MediaReader::initWithDictionary(dict, context());
  volumeScanType = 2;
  volumeName = dict.string("Volume Name");
  parentDrivePath = dict.string("Parent Drive Path");
  isJournaled = dict.string("journaled") == "Yes";
  volumeContent = dict.string("Content");
  supportsFileSystemRecovery = dict.int64("supportFileSystemRecovery") != 0;
  isUSBDevice = dict.has("WhetherUSB");
  deletedFilesPath = "Deleted Files";
  // A volume listed from an image or an unmounted disk lies inside that device at "Volume Start"; a
  // volume device of its own has none. The header stands 1024 bytes in: sector 2 of 512-byte sectors.
  startSector = dict.uint64("Volume Start");
  HPlusVolStart = startSector;
  vibAtSector = startSector + 1024 / static_cast<std::uint64_t>(u32BytesInSector);
  maxFileID = 9;
  blocksStartsAtSector = 0;
}

void Volume::readPartitionShape(const Dict& dict) {
  // Partition dictionaries carry no "Size": the size comes from the volume's own sector count.
  MediaReader::initWithDictionary(dict, context());
  volumeScanType = static_cast<std::int32_t>(dict.int64("Volume Scan Type"));
  volumeName = dict.string("Volume Name");
  sizeInSect = dict.uint64("Volume Size In Sectors");
  sizeInBytes = sizeInSect * static_cast<std::uint64_t>(u32BytesInSector);
  startSector = dict.uint64("Volume Start");
  HPlusVolStart = startSector;
  vibAtSector = volumeScanType == 1 ? dict.uint64("WhetherAlternateSector") : 0;
  volumeContent = dict.string("Content");
  lostFoldersPath = "Lost Folder";
  lostFilesPath = "Lost Files";
  lostFileName = "Lost File";
  deletedFilesPath = "Deleted Files";
  deletedFileName = "Deleted File";
  maxFileID = 0;
  catalog.catNodeSize = 0;
}

}  // namespace nua
