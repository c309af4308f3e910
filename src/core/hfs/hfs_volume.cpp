// Finding and reading the HFS+ volume header, the special files and their B-tree header nodes.
#include "hfs/hfs_volume.h"

#include <algorithm>

#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_extent_key.h"
#include "ondisk/journal_info_block.h"
#include "volume/progress_texts.h"

namespace nua {
namespace {

// A check of one tree file begins: its name, the counts so far, and the bar moving.
ScanProgress checkBegins(const Volume& v, const char* status) {
  ScanProgress progress = ScanProgress::withStatus(status);
  progress.counts = v.counts();
  progress.animation = ProgressAnimation::kStart;
  return progress;
}

ScanProgress checkEnds(const char* status) {
  ScanProgress progress = ScanProgress::withStatus(status);
  progress.animation = ProgressAnimation::kStop;
  return progress;
}

// Every descriptor with a non-zero startBlock; an empty slot is passed over, not an end.
std::vector<Extent> nonEmptyExtents(const HFSPlusExtentRecord& record, std::uint64_t* blockSum) {
  std::vector<Extent> extents;
  for (const auto& d : record) {
    if (d.startBlock == 0) continue;
    extents.push_back(Extent{d.startBlock, d.blockCount});
    if (blockSum != nullptr) *blockSum += d.blockCount;
  }
  return extents;
}

}  // namespace

std::uint64_t HfsVolume::blockBytes() const {
  return static_cast<std::uint64_t>(volume_.blockSize) * static_cast<std::uint64_t>(volume_.u32BytesInSector);
}

bool HfsVolume::readSectorInto(std::uint64_t sector, std::int32_t count, std::vector<std::byte>& buffer) {
  const std::size_t bytes = static_cast<std::size_t>(count) * static_cast<std::size_t>(volume_.u32BytesInSector);
  buffer.assign(bytes, std::byte{0});
  // An unreadable spot leaves zeros, which fail every signature and descriptor test after it.
  return volume_.readSector(sector, count, buffer);
}

bool HfsVolume::readHeaderAt(std::uint64_t bytePosition, bool asVib) {
  const auto sectorBytes = static_cast<std::uint64_t>(volume_.u32BytesInSector);
  // With 4096-byte sectors the header sits inside its sector, so the position is kept in bytes.
  const std::size_t within = static_cast<std::size_t>(bytePosition % sectorBytes);
  std::vector<std::byte> buffer;
  (void)readSectorInto(bytePosition / sectorBytes, 1, buffer);
  const ByteSpan bytes = ByteSpan(buffer).subspan(std::min(within, buffer.size()));
  if (asVib) {
    auto parsed = parseVolumeInformationBlock(bytes);
    vib_ = parsed ? *parsed : VolumeInformationBlock{};
    return parsed.ok();
  }
  auto parsed = parseMasterDirectoryBlock(bytes);
  mdb_ = parsed ? *parsed : MasterDirectoryBlock{};
  return parsed.ok();
}

bool HfsVolume::embeddedHeader(std::uint64_t wrapperStart) {
  if (!isHfsPlusSignature(mdb_.drEmbedSigWord)) return false;
  const auto sectorBytes = static_cast<std::uint64_t>(volume_.u32BytesInSector);
  const std::uint64_t sectorsPerWrapperBlock = mdb_.drAlBlkSiz / sectorBytes;
  volume_.HPlusVolStart = wrapperStart + mdb_.drAlBlSt + mdb_.xdrStABN * sectorsPerWrapperBlock;
  (void)readHeaderAt(volume_.HPlusVolStart * sectorBytes + 1024, true);
  if (!isHfsPlusSignature(vib_.signature)) {
    const std::uint64_t endBytes = (volume_.HPlusVolStart + mdb_.xdrNumABlks * sectorsPerWrapperBlock) * sectorBytes;
    if (endBytes < 1024) return false;
    (void)readHeaderAt(endBytes - 1024, true);
    if (!isHfsPlusSignature(vib_.signature)) return false;
  }
  return true;
}

bool HfsVolume::initializeVIB() {
  const auto sectorBytes = static_cast<std::uint64_t>(volume_.u32BytesInSector);
  if (sectorBytes == 0) return false;
  const std::uint64_t start = volume_.startSector;
  bool found = false;
  const std::uint64_t first =
      volume_.vibAtSector != 0 ? volume_.vibAtSector * sectorBytes + 1024 % sectorBytes : start * sectorBytes + 1024;
  (void)readHeaderAt(first, false);
  if (isHfsPlusSignature(mdb_.drSigWord)) {
    volume_.HPlusVolStart = start;
    found = readHeaderAt(first, true) && isHfsPlusSignature(vib_.signature);
  } else if (mdb_.drSigWord == kSignatureBD) {
    found = embeddedHeader(start);
  } else {
    // The primary is lost: the alternate lies 1024 bytes before the volume's end.
    const std::uint64_t volumeBytes = volume_.sizeInSect * sectorBytes;
    if (volumeBytes >= 2048) {
      const std::uint64_t alternate = start * sectorBytes + volumeBytes - 1024;
      (void)readHeaderAt(alternate, false);
      if (isHfsPlusSignature(mdb_.drSigWord)) {
        volume_.HPlusVolStart = start;
        found = readHeaderAt(alternate, true) && isHfsPlusSignature(vib_.signature);
      } else if (mdb_.drSigWord == kSignatureBD) {
        found = embeddedHeader(start);
      }
    }
    if (!found) volume_.HPlusVolStart = start;
  }
  if (!found) return false;
  volume_.blockSize = static_cast<std::int32_t>(vib_.blockSize / sectorBytes);
  // A block smaller than a sector would put every block at sector 0.
  return volume_.blockSize > 0;
}

std::int32_t HfsVolume::sectorsPerBlockForFragmentSearch(bool headerFound) const {
  constexpr std::uint64_t kUsualBlockBytes = 4096;
  const auto sectorBytes = static_cast<std::uint64_t>(volume_.u32BytesInSector);
  if (sectorBytes == 0) return 1;
  const auto usual = static_cast<std::int32_t>(std::max<std::uint64_t>(1, kUsualBlockBytes / sectorBytes));
  if (!headerFound) return usual;
  const std::uint64_t blockBytes = vib_.blockSize;
  const bool powerOfTwo = blockBytes != 0 && (blockBytes & (blockBytes - 1)) == 0;
  if (!powerOfTwo || blockBytes < 512 || blockBytes > 65536 || blockBytes < sectorBytes) return usual;
  // The blocks must fill the space from the volume's start to the partition's end, short of a wrapper's
  // own tail: any other power of two gives at most half of it, or more than all of it.
  const std::uint64_t end = volume_.startSector + volume_.sizeInSect;
  if (end <= volume_.HPlusVolStart) return usual;
  const std::uint64_t spaceBytes = (end - volume_.HPlusVolStart) * sectorBytes;
  const std::uint64_t volumeBytes = static_cast<std::uint64_t>(vib_.totalBlocks) * blockBytes;
  if (volumeBytes > spaceBytes || volumeBytes < spaceBytes - spaceBytes / 8) return usual;
  return static_cast<std::int32_t>(blockBytes / sectorBytes);
}

void HfsVolume::fillVIB() {
  readHeaderWithoutVerdict();
  if (isHfsPlusSignature(vib_.signature)) return;
  // A lost primary header: the alternate one (or the wrapper's) stands in, as for the other scans;
  // without one the header is taken as it was read.
  if (initializeVIB()) {
    volume_.totalBlocks = vib_.totalBlocks;
    return;
  }
  readHeaderWithoutVerdict();
}

void HfsVolume::readHeaderWithoutVerdict() {
  const std::uint64_t sectorBytes = static_cast<std::uint64_t>(volume_.u32BytesInSector);
  if (sectorBytes == 0) return;
  // A volume device starts at sector 0; a volume inside a disk or image starts at its startSector.
  const std::uint64_t start = volume_.startSector;
  volume_.HPlusVolStart = start;
  (void)readHeaderAt(start * sectorBytes + 1024, false);
  if (mdb_.drSigWord == kSignatureBD && isHfsPlusSignature(mdb_.drEmbedSigWord))
    volume_.HPlusVolStart = start + mdb_.drAlBlSt + mdb_.xdrStABN * (mdb_.drAlBlkSiz / sectorBytes);
  (void)readHeaderAt(volume_.HPlusVolStart * sectorBytes + 1024, true);
  volume_.blockSize = static_cast<std::int32_t>(vib_.blockSize / sectorBytes);
  volume_.totalBlocks = vib_.totalBlocks;
}

bool HfsVolume::headerNodeAt(const std::vector<Extent>& extents, BTHeaderRecord& header) {
  if (extents.empty()) return false;
  std::vector<std::byte> buffer;
  const std::uint64_t sector = volume_.HPlusVolStart + static_cast<std::uint64_t>(extents.front().startBlock) *
                                                           static_cast<std::uint64_t>(volume_.blockSize);
  (void)readSectorInto(sector, 1, buffer);
  auto descriptor = parseBTNodeDescriptor(buffer);
  if (!descriptor || descriptor->bLink != 0 || descriptor->kind != kBTHeaderNode || descriptor->height != 0 ||
      descriptor->numRecords != 3)
    return false;
  auto parsed = parseBTHeaderRecord(ByteSpan(buffer).subspan(kBTNodeDescriptorSize));
  if (!parsed) return false;
  header = *parsed;
  return true;
}

bool HfsVolume::checkCatalogAndExtentsFile() {
  Volume& v = volume_;
  const auto sectorBytes = static_cast<std::uint32_t>(v.u32BytesInSector);
  progress_.report(checkBegins(v, progress_text::kCheckingExtentsFile));
  v.catalog.extentsExt = nonEmptyExtents(vib_.extentsFile.extents, nullptr);
  BTHeaderRecord header;
  // A node smaller than a sector can't be read by sectors.
  if (!headerNodeAt(v.catalog.extentsExt, header) || header.nodeSize / sectorBytes == 0) {
    progress_.report(checkEnds(progress_text::kCheckingExtentsFileDone));
    return false;
  }
  v.catalog.extNodeSize = static_cast<std::int32_t>(header.nodeSize / sectorBytes);
  v.catalog.extRootNode = header.rootNode;
  progress_.report(checkEnds(progress_text::kCheckingExtentsFileDone));
  progress_.report(checkBegins(v, progress_text::kCheckingCatalogFile));

  std::uint64_t catalogBlocks = 0;
  v.catalog.catalogExt = nonEmptyExtents(vib_.catalogFile.extents, &catalogBlocks);
  if (!headerNodeAt(v.catalog.catalogExt, header) || header.nodeSize / sectorBytes == 0) {
    progress_.report(checkEnds(progress_text::kCheckingCatalogFileDone));
    return false;
  }
  v.catalog.catNodeSize = static_cast<std::int32_t>(header.nodeSize / sectorBytes);
  v.catalog.catRootNode = header.rootNode;
  v.catalog.firstLeafNode = header.firstLeafNode;
  v.catalog.leafRecords = header.leafRecords >> 1;
  v.catalog.catTreeDepth = header.treeDepth;
  if (catalogBlocks < vib_.catalogFile.totalBlocks) {
    auto more = extentsForID(4, kDataFork, static_cast<std::uint32_t>(catalogBlocks), vib_.catalogFile.totalBlocks);
    if (more) v.catalog.catalogExt.insert(v.catalog.catalogExt.end(), more->begin(), more->end());
  }
  return true;
}

void HfsVolume::getCatalogExtFromVIB() {
  volume_.tables.catalogExtAsPerVIB.clear();
  for (const auto& d : vib_.catalogFile.extents) {
    if (d.blockCount == 0) break;
    volume_.tables.catalogExtAsPerVIB.push_back(Extent{d.startBlock, d.blockCount});
  }
}

void HfsVolume::fillAllocationExt() {
  volume_.catalog.extentsExt = nonEmptyExtents(vib_.extentsFile.extents, nullptr);
  checkAllocationFile();
}

void HfsVolume::checkAllocationFile() {
  std::uint64_t blocks = 0;
  volume_.tables.allocationExt = nonEmptyExtents(vib_.allocationFile.extents, &blocks);
  if (blocks < vib_.allocationFile.totalBlocks) {
    auto more = extentsForID(6, kDataFork, static_cast<std::uint32_t>(blocks), vib_.allocationFile.totalBlocks);
    if (more) volume_.tables.allocationExt.insert(volume_.tables.allocationExt.end(), more->begin(), more->end());
  }
}

std::uint64_t HfsVolume::catNodeToSector(std::uint64_t node) const {
  const auto nodeSize = static_cast<std::uint64_t>(volume_.catalog.catNodeSize);
  const auto perBlock = static_cast<std::uint64_t>(volume_.blockSize);
  if (nodeSize == 0) return 0;
  std::uint64_t m = node;
  for (const Extent& e : volume_.catalog.catalogExt) {
    const std::uint64_t sectors = static_cast<std::uint64_t>(e.blockCount) * perBlock;
    if (m * nodeSize < sectors) return volume_.HPlusVolStart + e.startBlock * perBlock + m * nodeSize;
    m -= sectors / nodeSize;
  }
  return 0;
}

std::uint64_t HfsVolume::extNodeToSector(std::uint64_t node) const {
  const auto nodeSize = static_cast<std::uint64_t>(volume_.catalog.extNodeSize);
  const auto perBlock = static_cast<std::uint64_t>(volume_.blockSize);
  if (nodeSize == 0) return 0;
  std::uint64_t m = node;
  // The extents file is taken to fit in the header's eight descriptors.
  for (const auto& e : vib_.extentsFile.extents) {
    const std::uint64_t sectors = static_cast<std::uint64_t>(e.blockCount) * perBlock;
    if (m * nodeSize < sectors) return volume_.HPlusVolStart + e.startBlock * perBlock + m * nodeSize;
    m -= sectors / nodeSize;
  }
  return 0;
}

bool HfsVolume::sectorIsInThisExtArray(const std::vector<Extent>& extents, std::uint64_t sector) const {
  const auto perBlock = static_cast<std::uint64_t>(volume_.blockSize);
  for (const Extent& e : extents) {
    const std::uint64_t first = volume_.HPlusVolStart + e.startBlock * perBlock;
    if (sector >= first && sector < first + e.blockCount * perBlock) return true;
  }
  return false;
}

bool HfsVolume::sectorIsInCatalogFile(std::uint64_t sector) const {
  return sectorIsInThisExtArray(volume_.catalog.catalogExt.empty() ? volume_.tables.catalogExtAsPerVIB : volume_.catalog.catalogExt, sector);
}

void HfsVolume::getJournalSizeAndStart() {
  std::vector<std::byte> buffer;
  (void)readSectorInto(volume_.HPlusVolStart + static_cast<std::uint64_t>(volume_.blockSize) * vib_.journalInfoBlock,
                       1, buffer);
  const auto info = parseJournalInfoBlock(buffer);
  if (!info) return;
  volume_.catalog.journalStart = info->offset;
  volume_.catalog.journalSize = info->size;
}

int HfsVolume::getIfUnusedSectorForCatalogNode(std::uint64_t sector) {
  if (volume_.tables.btreeForUsedCatNodeSector) (void)volume_.tables.btreeForUsedCatNodeSector->retrieveKeyField(sector);
  return 1;
}

}  // namespace nua
