// The judgement of one found volume header by the volume's catalog: how much of the catalog's leaf
// chain (or, with a damaged header node, how many leaf nodes) can be read, and the volume's name.
#include <algorithm>
#include <optional>

#include "base/text.h"
#include "hfs/hfs_volume.h"
#include "lostvolume/lost_volume_scan.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"
#include "volume/volume.h"

namespace nua {

namespace {

constexpr std::uint64_t kAssumedCatalogNodeSectors = 16;  // when the header node can't tell
constexpr std::uint64_t kSubTaskReportEvery = 50;
constexpr std::uint32_t kRootParentID = 1;
constexpr std::uint32_t kRootFolderID = 2;
constexpr std::uint16_t kHeaderNodeRecords = 3;

// Reads the first sector of a B-tree file and decodes its header node; nullopt when it isn't one.
std::optional<BTHeaderRecord> readHeaderNode(MediaReader& media, std::uint64_t sector) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(media.u32BytesInSector), std::byte{0});
  if (!media.readSector(sector, 1, bytes)) return std::nullopt;
  const auto descriptor = parseBTNodeDescriptor(bytes);
  if (!descriptor || descriptor->bLink != 0 || descriptor->kind != kBTHeaderNode || descriptor->height != 0 ||
      descriptor->numRecords != kHeaderNodeRecords)
    return std::nullopt;
  const auto record = parseBTHeaderRecord(ByteSpan(bytes).subspan(std::min(bytes.size(), kBTNodeDescriptorSize)));
  if (!record) return std::nullopt;
  return *record;
}

bool isCountedLeaf(const BTNodeDescriptor& d) { return d.height == 1 && d.kind == kBTLeafNode && d.numRecords != 0; }

// The catalog's extents past the header's eight, from the extents-overflow file, read the way a scan
// of the volume reads them.
std::vector<Extent> catalogOverflowExtents(const MediaReader& media, const HfsBTreeLayout& trees,
                                           std::uint64_t whetherAlternateSector, std::uint64_t volumeSectors,
                                           std::uint32_t startBlock, std::uint32_t totalBlocks) {
  PartitionRow shape;
  shape.path = media.path;
  shape.sectorSizeBytes = static_cast<std::uint64_t>(media.u32BytesInSector);
  shape.volumeStart = media.HPlusVolStart;
  shape.sizeInSectors = volumeSectors;
  shape.scanType = PartitionScanType::kVolumeSearch;
  shape.alternateHeaderSector = whetherAlternateSector;
  const std::unique_ptr<Volume> volume = Volume::initWithPartitionRow(shape, media.context());
  HfsVolume hfs(*volume, ProgressSink::none());  // only the extents lookup runs, which reports nothing
  if (!hfs.initializeVIB()) return {};
  volume->catalog.extNodeSize = trees.extNodeSize;
  volume->catalog.extRootNode = trees.extRootNode;
  auto more = hfs.extentsForID(4, 0, startBlock, totalBlocks);
  return more ? *more : std::vector<Extent>{};
}

}  // namespace

void LostVolumeScan::sendSubTaskTime(std::chrono::steady_clock::time_point start, double done, double total) const {
  if (done <= 0) return;
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double remaining = std::max(0.0, total - done) * elapsed / done;
  VolumeSearchProgress check;
  check.checking = true;
  check.checkTimeRemaining = getTimeFormStringForInterval(remaining);
  progress_.report(check);
}

PartitionRow LostVolumeScan::volumeRow(std::uint64_t whetherAlternateSector, const std::string& name) const {
  const auto sectorBytes = static_cast<std::uint32_t>(media_.u32BytesInSector);
  PartitionRow volume;
  volume.volumeStart = media_.HPlusVolStart;
  volume.sizeInSectors = std::uint64_t{vib_.totalBlocks} * (vib_.blockSize / sectorBytes);
  volume.scanType = PartitionScanType::kVolumeSearch;
  volume.path = media_.path;
  volume.model = media_.model;
  volume.serial = media_.serial;
  volume.revision = media_.revision;
  volume.alternateHeaderSector = whetherAlternateSector;
  volume.volumeName = name;
  volume.volumeValidity = volumeValidity_;
  return volume;
}

bool LostVolumeScan::countLeafNodes(std::uint64_t nodeSectors, std::uint64_t& leaves, std::uint64_t& nodes) {
  leaves = nodes = 0;
  if (nodeSectors == 0) return true;
  const auto perBlock = static_cast<std::uint64_t>(media_.blockSize);
  const std::uint64_t diskSectors = media_.sizeInBytes / static_cast<std::uint64_t>(media_.u32BytesInSector);
  std::uint64_t planned = 0;
  for (const Extent& e : trees_.catalogExt) planned += std::uint64_t{e.blockCount} * perBlock / nodeSectors;
  std::vector<std::byte> bytes(static_cast<std::size_t>(media_.u32BytesInSector), std::byte{0});
  const auto start = std::chrono::steady_clock::now();
  for (const Extent& e : trees_.catalogExt) {
    const std::uint64_t first = media_.HPlusVolStart + std::uint64_t{e.startBlock} * perBlock;
    const std::uint64_t inExtent = std::uint64_t{e.blockCount} * perBlock / nodeSectors;
    for (std::uint64_t j = 0; j < inExtent; ++j) {
      if (media_.abortVolumeScan) return false;
      const std::uint64_t sector = first + j * nodeSectors;
      // A header that lies about its catalog can't send the count past the disk's end.
      if (sector >= diskSectors) break;
      std::fill(bytes.begin(), bytes.end(), std::byte{0});
      if (media_.readSector(sector, 1, bytes)) {
        const auto descriptor = parseBTNodeDescriptor(bytes);
        if (descriptor && isCountedLeaf(*descriptor)) ++leaves;
      }
      ++nodes;
      if (nodes % kSubTaskReportEvery == 0)
        sendSubTaskTime(start, static_cast<double>(nodes), static_cast<double>(planned));
    }
  }
  return true;
}

std::uint64_t LostVolumeScan::sumLeafChainRecords(std::uint64_t leafRecords) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(media_.u32BytesInSector), std::byte{0});
  std::uint64_t sum = 0;
  std::uint64_t visited = 0;
  const auto start = std::chrono::steady_clock::now();
  // The chain can't be longer than the file has nodes; the visited table ends a loop earlier.
  const std::uint64_t maxNodes = std::max<std::uint64_t>(catalogTotalNodes_, 1);
  for (std::uint32_t node = trees_.firstLeafNode; node != 0 && !media_.abortVolumeScan && visited < maxNodes;) {
    if (search_.btreeForUsedCatNodeSector->retrieveKeyField(node) != nullptr) break;
    (void)search_.btreeForUsedCatNodeSector->insert(CountedKeyItem{node, 0});
    ++visited;
    const std::uint64_t sector = trees_.catalogNodeToSector(node, media_.blockSize, media_.HPlusVolStart);
    std::fill(bytes.begin(), bytes.end(), std::byte{0});
    if (sector == 0 || !media_.readSector(sector, 1, bytes)) break;
    const auto descriptor = parseBTNodeDescriptor(bytes);
    if (!descriptor) break;
    sum += descriptor->numRecords;
    if (visited % kSubTaskReportEvery == 0)
      sendSubTaskTime(start, static_cast<double>(sum), static_cast<double>(leafRecords));
    if (!isCountedLeaf(*descriptor)) break;
    node = descriptor->fLink;
  }
  return sum;
}

void LostVolumeScan::verifyVolumeAndGetData(DictArray& validity, std::uint64_t whetherAlternateSector) {
  const std::size_t listedBefore = search_.volumeScanArray.size();
  const auto sectorBytes = static_cast<std::uint32_t>(media_.u32BytesInSector);
  trees_ = HfsBTreeLayout{};
  media_.blockSize = static_cast<std::int32_t>(vib_.blockSize / std::max<std::uint32_t>(sectorBytes, 1));
  search_.btreeForUsedCatNodeSector = std::make_unique<CountedKeyTable>();
  volumeValidity_ = 0;
  catalogTotalNodes_ = 0;
  const auto perBlock = static_cast<std::uint64_t>(media_.blockSize);
  if (sectorBytes == 0 || perBlock == 0) return;

  for (const auto& e : vib_.extentsFile.extents)
    if (e.startBlock != 0) trees_.extentsExt.push_back({e.startBlock, e.blockCount});
  const auto extentsHeader =
      readHeaderNode(media_, media_.HPlusVolStart + std::uint64_t{vib_.extentsFile.extents[0].startBlock} * perBlock);
  if (extentsHeader) {
    trees_.extNodeSize = static_cast<std::int32_t>(extentsHeader->nodeSize / sectorBytes);
    trees_.extRootNode = extentsHeader->rootNode;
  } else {
    validity.push_back(10);
    validity.push_back("Partial Valid");
  }

  std::uint64_t catalogBlocks = 0;
  for (const auto& e : vib_.catalogFile.extents) {
    if (e.startBlock == 0) continue;
    trees_.catalogExt.push_back({e.startBlock, e.blockCount});
    catalogBlocks += e.blockCount;
  }
  if (extentsHeader && catalogBlocks < vib_.catalogFile.totalBlocks) {
    const std::uint64_t volumeSectors = std::uint64_t{vib_.totalBlocks} * perBlock;
    for (const Extent& e : catalogOverflowExtents(media_, trees_, whetherAlternateSector, volumeSectors,
                                                  static_cast<std::uint32_t>(catalogBlocks), vib_.catalogFile.totalBlocks))
      trees_.catalogExt.push_back(e);
  }

  const auto catalogHeader =
      readHeaderNode(media_, media_.HPlusVolStart + std::uint64_t{vib_.catalogFile.extents[0].startBlock} * perBlock);
  // A node size below one sector can't be walked; it counts as a damaged header node.
  const bool catalogHeaderGood = catalogHeader && catalogHeader->nodeSize / sectorBytes != 0;
  if (!catalogHeaderGood) {
    validity.push_back(10);
    validity.push_back("Partial Valid");
    // Guess the catalog's size by counting leaf nodes, taking the common node size.
    trees_.catNodeSize = static_cast<std::int32_t>(kAssumedCatalogNodeSectors);
    std::uint64_t leaves = 0, counted = 0;
    if (!countLeafNodes(kAssumedCatalogNodeSectors, leaves, counted)) return;
    const std::uint64_t nodes = catalogBlocks * perBlock / kAssumedCatalogNodeSectors;
    const std::uint64_t figure = nodes == 0 ? 0 : leaves * 100 / nodes;
    volumeValidity_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(figure, 100));
    validity = DictArray{DictValue(volumeValidity_), DictValue("Valid")};
    search_.volumeScanArray.push_back(volumeRow(whetherAlternateSector, "Untitled"));
  } else {
    trees_.catNodeSize = static_cast<std::int32_t>(catalogHeader->nodeSize / sectorBytes);
    trees_.catRootNode = catalogHeader->rootNode;
    trees_.firstLeafNode = catalogHeader->firstLeafNode;
    catalogTotalNodes_ = catalogHeader->totalNodes;
    const std::uint64_t leafRecords = catalogHeader->leafRecords;
    const std::uint64_t sum = sumLeafChainRecords(leafRecords);
    const std::uint64_t figure = sum >= leafRecords ? 100 : sum * 100 / leafRecords;
    volumeValidity_ = static_cast<std::uint32_t>(figure);
    validity.push_back(volumeValidity_);
    validity.push_back("Valid");
    judgeFirstLeaf(validity, whetherAlternateSector, *catalogHeader);
  }

  // A volume whose check was cut short isn't offered.
  if (media_.abortVolumeScan && search_.volumeScanArray.size() > listedBefore) {
    validity.push_back(0);
    validity.push_back("Invalid");
    search_.volumeScanArray.pop_back();
  }
}

void LostVolumeScan::judgeFirstLeaf(DictArray& validity, std::uint64_t whetherAlternateSector,
                                    const BTHeaderRecord& catalogHeader) {
  const auto sectorBytes = static_cast<std::size_t>(media_.u32BytesInSector);
  const std::uint64_t sector = trees_.catalogNodeToSector(trees_.firstLeafNode, media_.blockSize, media_.HPlusVolStart);
  std::vector<std::byte> leaf(2 * sectorBytes, std::byte{0});
  const bool read = sector != 0 && media_.readSector(sector, 2, leaf);
  const auto descriptor = read ? parseBTNodeDescriptor(leaf) : Parsed<BTNodeDescriptor>::failure("unread");
  if (descriptor && descriptor->bLink == 0 && descriptor->kind == kBTLeafNode && descriptor->height == 1) {
    // The first record of the first leaf is the root folder's: its key names the volume.
    const auto key = parseHFSPlusCatalogKey(ByteSpan(leaf).subspan(kBTNodeDescriptorSize));
    if (!key || key->parentID != kRootParentID) return;
    const std::size_t recordAt = kBTNodeDescriptorSize + std::size_t{key->keyLength} + 2;
    if (!fits(leaf.size(), recordAt, kCatalogFolderSize)) return;
    const auto folder = parseHFSPlusCatalogFolder(ByteSpan(leaf).subspan(recordAt));
    if (!folder || folder->recordType != kFolderRecordType || folder->folderID != kRootFolderID) return;
    const std::string name = toUtf8(key->name);
    search_.volumeScanArray.push_back(volumeRow(whetherAlternateSector, name.empty() ? "Untitled" : name));
    if (validity.size() >= 2) {
      validity.back() = "Valid";
    } else if (validity.size() == 1) {
      validity.push_back("Valid");
    } else {
      validity = DictArray{DictValue(60), DictValue("Valid")};
    }
    return;
  }
  // No usable first leaf: judge by the share of leaf nodes among the nodes in use.
  std::uint64_t leaves = 0, counted = 0;
  (void)countLeafNodes(static_cast<std::uint64_t>(trees_.catNodeSize), leaves, counted);
  const std::uint64_t used = catalogHeader.totalNodes > catalogHeader.freeNodes
                                 ? std::uint64_t{catalogHeader.totalNodes} - catalogHeader.freeNodes
                                 : 0;
  const std::uint64_t figure = used == 0 ? 0 : leaves * 100 / used;
  if (figure > volumeValidity_) {
    volumeValidity_ = static_cast<std::uint32_t>(figure);
    if (!validity.empty()) validity.front() = volumeValidity_;
  }
  search_.volumeScanArray.push_back(volumeRow(whetherAlternateSector, "Untitled"));
}

}  // namespace nua
