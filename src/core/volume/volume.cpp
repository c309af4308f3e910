#include "volume/volume.h"

namespace nua {

std::atomic<std::uint32_t> u32BytesInSectorForScanClasses{512};

Volume::Volume() = default;
Volume::~Volume() = default;

void Volume::makeTables() {
  arena = std::make_shared<NewDirArena>();
  btree = std::make_unique<BTreeTableClass>();
  btreeAdvScan = btree.get();
  btreeNormalScan = std::make_unique<BTreeTableClass>();
  btreeFirstFileBlock = std::make_unique<BTreeTableClassUInt32>();
  btreeOrph = std::make_unique<BTreeTableClassOrph>();
  btreeOrphAdvScanEntries = std::make_unique<BTreeTableClassOrph>();
  btreeForUsedCatNodeSector = std::make_unique<BTreeTableClassUInt32>();
  catalogExt.clear();
  extentsExt.clear();
  allocationExt.clear();
  dataUpdate = Dict();
  orphanCount = entryCount = fileCount = folderCount = dataSize = 0;
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

void Volume::readDiskShape(const Dict& dict) {
  DMedia::initWithDictionary(dict, context());
  volumeScanType = 3;
  totalBlocks = sizeInSect;
  HPlusVolStart = 0;
  blockSize = 1;
  maxFileID = 9;
  rootName.clear();
}

void Volume::readLogicalVolumeShape(const Dict& dict) {
  DMedia::initWithDictionary(dict, context());
  volumeScanType = 2;
  volumeName = dict.string("Volume Name");
  parentDrivePath = dict.string("Parent Drive Path");
  isJournaled = dict.string("journaled") == "Yes";
  volumeContent = dict.string("Content");
  supportsFileSystemRecovery = dict.int64("supportFileSystemRecovery") != 0;
  isUSBDevice = dict.has("WhetherUSB");
  deletedFilesPath = "Deleted Files";
  HPlusVolStart = 0;
  vibAtSector = 2;
  startSector = 0;
  maxFileID = 9;
  blocksStartsAtSector = 0;
}

void Volume::readPartitionShape(const Dict& dict) {
  // Partition dictionaries carry no "Size": the size comes from the volume's own sector count.
  DMedia::initWithDictionary(dict, context());
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
  catNodeSize = 0;
}

}  // namespace nua
