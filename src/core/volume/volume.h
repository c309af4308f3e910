// Volume: the object every scan runs on, a DMedia with the fields of one scan. Made from a drive,
// volume, partition or lost-volume dictionary; the engines add their operations in their own folders.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/dmedia.h"
#include "tree/btree_table.h"
#include "tree/new_dir.h"
#include "tree/new_dir_arena.h"

namespace nua {

// Sector size of the current Volume, read by the file checks, which hold no Volume of their own.
extern std::atomic<std::uint32_t> u32BytesInSectorForScanClasses;

class Volume : public DMedia {
 public:
  Volume();
  ~Volume() override;

  // The three construction shapes, told apart by key: "WhetherDiskDict" (a whole disk),
  // "WhetherVolume" (a volume of the operating system; false makes an object with nothing read), or
  // neither (a partition-map or lost volume, by "Volume Scan Type"). Every shape makes every table,
  // and btreeAdvScan is the same table as btree.
  [[nodiscard]] static std::unique_ptr<Volume> initWithDictionary(const Dict& dict, MediaContext context);

  // Start and end of a signature search, in percent of the range.
  void setRawSearchStart(float start, float end) {
    startPos = start;
    endPos = end;
  }
  void setFilterTreeForMedia(bool filter) { filterTreeForMedia = filter; }

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
  std::uint64_t orphanCount = 0, entryCount = 0, fileCount = 0, folderCount = 0, dataSize = 0;

  // Records of the result; the arena outlives the Volume when the viewing side takes the tree.
  std::shared_ptr<NewDirArena> arena;
  NewDir* dirRoot = nullptr;

  // Tables. btreeAdvScan is not owned: it is btree itself in every shape.
  std::unique_ptr<BTreeTableClass> btree;
  BTreeTableClass* btreeAdvScan = nullptr;
  std::unique_ptr<BTreeTableClass> btreeNormalScan;
  std::unique_ptr<BTreeTableClassUInt32> btreeFirstFileBlock;
  std::unique_ptr<BTreeTableClassOrph> btreeOrph;
  std::unique_ptr<BTreeTableClassOrph> btreeOrphAdvScanEntries;
  std::vector<Extent> allocationExt, catalogExtAsPerVIB;

 private:
  void makeTables();
  void readDiskShape(const Dict& dict);
  void readLogicalVolumeShape(const Dict& dict);
  void readPartitionShape(const Dict& dict);
};

}  // namespace nua
