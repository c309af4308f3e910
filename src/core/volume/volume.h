// Volume: the object every scan runs on, a MediaReader with the fields of one scan. Made from a drive,
// volume, partition or lost-volume dictionary; the engines add their operations in their own folders.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "media/media_reader.h"
#include "media/hfs_btree_layout.h"
#include "volume/progress_sink.h"
#include "records/key_table.h"
#include "records/entry.h"
#include "records/entry_arena.h"

namespace nua {

// Sector size of the current Volume, read by the file checks, which hold no Volume of their own.
extern std::atomic<std::uint32_t> u32BytesInSectorForScanClasses;
// The process-wide copy of stopTreeThread, polled by the file checks.
extern std::atomic<bool> bCancelScanning;

class FolderNameIndex;

// An interval in seconds as "days:hours:minutes:seconds", hours, minutes and seconds two digits.
[[nodiscard]] std::string getTimeFormStringForInterval(double interval);

// What the HFS+ scans know of the catalog: where its B-trees lie (HfsBTreeLayout), facts from its
// header record and the journal, and the leaf nodes gathered on the way.
struct HfsCatalogState : HfsBTreeLayout {
  std::uint32_t leafRecords = 0;  // entries: half the catalog's leaf records (entry plus thread)
  std::int32_t catTreeDepth = 0;
  std::uint64_t journalStart = 0, journalSize = 0;
  // Leaf node numbers gathered from index nodes (trusted) and by searching the disk (doubted).
  std::vector<std::uint32_t> leafNodePointerArray;
  std::vector<std::uint32_t> leafNodePointerTotalArray;
  bool level2IndexNodeHasProblems = false;
};

// FAT geometry from the boot sector, in sectors relative to the volume.
struct FatGeometry {
  std::uint8_t u8SectorPerCluster = 0;
  std::uint16_t u16ReservedSectorCount = 0;
  std::uint16_t u16NumberOfFats = 0;
  std::uint32_t u32FATSize = 0;
  std::uint32_t u32RootDirectoryStart = 0;
  std::uint32_t u32RootDirectorySectors = 0;
  std::uint64_t u64SaveVolumeStart = 0;
  std::uint16_t u16ProcessedDirEntryInRootDirectory = 0;
  bool bFATOneIsHealthy = false;
};

// What a scan has found so far, and the orphan passes' progress.
struct ScanCounters {
  std::uint64_t orphanCount = 0, entryCount = 0, fileCount = 0, folderCount = 0, dataSize = 0;
  std::uint64_t orphEntryCount = 0, orphEntriesTotal = 0;
  std::uint64_t orphAdvScanEntryCount = 0, orphAdvScanEntriesTotal = 0;
};

// The tables a scan finds parents and duplicates through; finishTree releases them.
struct ScanTables {
  // btreeAdvScan is not owned: it is btree itself in every shape.
  std::unique_ptr<EntryTable> btree;
  EntryTable* btreeAdvScan = nullptr;
  std::unique_ptr<EntryTable> btreeNormalScan;
  std::unique_ptr<CountedKeyTable> btreeFirstFileBlock;
  // Catalog nodes the walks have visited, by number.
  std::unique_ptr<CountedKeyTable> btreeForUsedCatNodeSector = std::make_unique<CountedKeyTable>();
  std::unique_ptr<OrphanTable> btreeOrph;
  std::unique_ptr<OrphanTable> btreeOrphAdvScanEntries;
  // The allocation file's extents, and the catalog's as the volume header alone lists them.
  std::vector<Extent> allocationExt, catalogExtAsPerVIB;
};

class Volume : public MediaReader {
 public:
  Volume();
  ~Volume() override;

  // The three construction shapes, told apart by key: "WhetherDiskDict" (a whole disk),
  // "WhetherVolume" (a volume of the operating system; false makes an object with nothing read), or
  // neither (a partition-map or lost volume, by "Volume Scan Type"). Every shape makes every table,
  // and btreeAdvScan is the same table as btree.
  [[nodiscard]] static std::unique_ptr<Volume> initWithDictionary(const Dict& dict, MediaContext context);
  // The partition shape, from a row of a partition list or of the lost-volume search.
  [[nodiscard]] static std::unique_ptr<Volume> initWithPartitionRow(const PartitionRow& row, MediaContext context);

  // Start and end of a signature search, in percent of the range.
  void setRawSearchStart(float start, float end) {
    startPos = start;
    endPos = end;
  }
  void setFilterTreeForMedia(bool filter) { filterTreeForMedia = filter; }

  // What the scan has found so far, as the progress screen shows it.
  [[nodiscard]] ScanCounts counts() const {
    return {counters.entryCount, counters.folderCount, counters.fileCount, counters.dataSize};
  }
  // Also sets the process-wide bCancelScanning.
  void setStopTreeThread(bool stop);

  // Prepares the tables and counters for a new scan on this object.
  void resetSigArraysAndBtreesAndOthers();
  // The clean-up sequence at the end of every scan: filters, recounts, builds the deleted lists and
  // releases the helper tables. Afterwards the tree stands by its pointers alone.
  void finishTree(ProgressSink& progress);

  // What the object stands for: 0 partition-map volume, 1 lost volume, 2 volume of the system, 3 disk.
  std::int32_t volumeScanType = 0;
  std::string volumeName;
  std::string volumeContent;       // "Content": "Apple_HFS", "FAT32", "-", ...
  std::string parentDrivePath;
  bool isJournaled = false;
  bool supportsFileSystemRecovery = false;
  bool filterTreeForMedia = false;
  bool isUSBDevice = false;
  std::uint64_t startSector = 0;
  std::uint64_t vibAtSector = 0;
  std::uint64_t totalBlocks = 0;
  std::uint64_t blocksStartsAtSector = 0;
  std::uint32_t maxFileID = 0;
  std::string rootName;
  std::string lostFoldersPath, lostFilesPath, lostFileName, deletedFilesPath, deletedFileName;
  float startPos = 0.0f, endPos = 100.0f;

  // The scan's own state, shared with the controller only through atomics.
  std::atomic<bool> stopTreeThread{false};
  std::atomic<bool> pauseThread{false};
  bool autoCrashRecovery = false;
  bool lookForRtfAttachments = false;
  bool openedScanInfo = false;
  bool cutShortMovSize = false;
  std::string scanMode;            // "Normal Scan" or "Advanced Scan" once a tree scan starts
  std::int32_t treeScanMode = -1;
  bool aborting = false;
  bool advScanEntriesCanBePutIntoOrphanEntryArray = false;

  ScanCounters counters;

  // HFS Plus catalog facts from the header records and the journal, read by the HFS+ scans.
  HfsCatalogState catalog;
  // FAT geometry from the boot sector, read by the FAT walk and saving (kept in session files).
  FatGeometry fat;

  // The orphan passes' folders.
  Entry* dirLostFiles = nullptr;
  Entry* dirLostFolders = nullptr;
  // Names of each folder's children, so a clash is found without walking the folder.
  std::unique_ptr<FolderNameIndex> folderNameIndex;

  // Records of the result; the arena outlives the Volume when the viewing side takes the tree.
  std::shared_ptr<EntryArena> arena;
  Entry* dirRoot = nullptr;

  ScanTables tables;

 private:
  void makeTables();
  // The tables a scan looks entries up in, anew; the tree and the known-file table are left alone.
  void makeLookupTables();
  void readDiskShape(const Dict& dict);
  void readLogicalVolumeShape(const Dict& dict);
  void readPartitionShape(const Dict& dict);
};

}  // namespace nua
