// hfs-many: an HFS+ volume with N files (one big folder plus ten subfolders), generated record by
// record in catalog order and streamed to the image, so a million files need no tree in memory.
#include <cstdio>

#include "base/text.h"
#include "imagekit/hfs_btree.h"
#include "imagekit/hfs_format.h"
#include "imagekit/hfs_scenario_common.h"

namespace nua::imagekit {

using namespace hfs;

namespace {

constexpr std::uint32_t kSubfolders = 10;
constexpr std::uint32_t kBigFolderId = kFirstUserId;
constexpr std::uint32_t kFirstSubfolderId = kFirstUserId + 1;
constexpr std::uint32_t kFirstFileId = kFirstSubfolderId + kSubfolders;
constexpr std::uint64_t kDefaultFiles = 100000;
constexpr std::uint64_t kMaxFiles = 50'000'000;

// Every tenth file lives in a subfolder, chosen by the next digit; the rest share the big folder.
bool inSubfolder(std::uint64_t i) { return i % 10 == 9; }
std::uint32_t subfolderOf(std::uint64_t i) { return static_cast<std::uint32_t>((i / 10) % kSubfolders); }

std::u16string fileName(std::uint64_t i) {
  char text[32];
  std::snprintf(text, sizeof text, "f%08llu.txt", static_cast<unsigned long long>(i));
  return toUtf16(text);
}

std::string fileContent(std::uint64_t i, std::uint64_t seed) {
  return "hfs-many file " + std::to_string(i) + " seed " + std::to_string(seed) + "\n";
}

Dates datesFor(std::uint32_t cnid, std::uint64_t seed, std::uint32_t baseDate) {
  const std::uint64_t mix = (cnid * 2654435761ull + seed * 40503ull) % 30'000'000ull;
  Dates dates;
  dates.create = baseDate + static_cast<std::uint32_t>(mix);
  dates.contentMod = dates.create + 3600;
  dates.attributeMod = dates.contentMod;
  dates.access = dates.contentMod + 60;
  dates.backup = dates.contentMod + 120;
  return dates;
}

struct ManyLayout {
  HfsVolumeSpec volumeSpec;
  std::uint64_t files = 0;
  std::uint32_t dataStart = 0;  // file i lives in block dataStart + i
};

using RecordSink = std::function<void(const std::vector<std::byte>& key, const std::vector<std::byte>& data)>;

// Emits every catalog record in key order: parent ID, then name.
void forEachRecord(const ManyLayout& layout, const RecordSink& sink) {
  const HfsVolumeSpec& volumeSpec = layout.volumeSpec;
  const std::u16string volumeName = toUtf16(volumeSpec.volumeName);
  const std::uint64_t inSubs = layout.files / 10;
  std::vector<std::uint32_t> subCounts(kSubfolders);
  for (std::uint64_t k = 0; k < inSubs; ++k) ++subCounts[k % kSubfolders];
  auto folderName = [](std::uint32_t s) { return s == kSubfolders ? toUtf16("Many") : toUtf16("Sub0" + std::to_string(s)); };
  auto fileRecordFor = [&](std::uint64_t i) {
    Fork fork;
    fork.logicalSize = fileContent(i, volumeSpec.seed).size();
    fork.totalBlocks = 1;
    fork.extents[0] = {static_cast<std::uint32_t>(layout.dataStart + i), 1};
    const auto cnid = static_cast<std::uint32_t>(kFirstFileId + i);
    return fileRecord(cnid, datesFor(cnid, volumeSpec.seed, volumeSpec.baseDate), fork);
  };
  sink(catalogKey(kRootParentId, volumeName), folderRecord(kRootFolderId, 1 + kSubfolders, datesFor(2, volumeSpec.seed, volumeSpec.baseDate)));
  sink(catalogKey(kRootFolderId, u""), threadRecord(kFolderThreadRecord, kRootParentId, volumeName));
  sink(catalogKey(kRootFolderId, folderName(kSubfolders)),
       folderRecord(kBigFolderId, static_cast<std::uint32_t>(layout.files - inSubs), datesFor(kBigFolderId, volumeSpec.seed, volumeSpec.baseDate)));
  for (std::uint32_t s = 0; s < kSubfolders; ++s) {
    sink(catalogKey(kRootFolderId, folderName(s)),
         folderRecord(kFirstSubfolderId + s, subCounts[s], datesFor(kFirstSubfolderId + s, volumeSpec.seed, volumeSpec.baseDate)));
  }
  sink(catalogKey(kBigFolderId, u""), threadRecord(kFolderThreadRecord, kRootFolderId, folderName(kSubfolders)));
  for (std::uint64_t i = 0; i < layout.files; ++i) {
    if (!inSubfolder(i)) sink(catalogKey(kBigFolderId, fileName(i)), fileRecordFor(i));
  }
  for (std::uint32_t s = 0; s < kSubfolders; ++s) {
    sink(catalogKey(kFirstSubfolderId + s, u""), threadRecord(kFolderThreadRecord, kRootFolderId, folderName(s)));
    for (std::uint64_t i = 10ull * s + 9; i < layout.files; i += 10ull * kSubfolders) {
      sink(catalogKey(kFirstSubfolderId + s, fileName(i)), fileRecordFor(i));
    }
  }
  for (std::uint64_t i = 0; i < layout.files; ++i) {
    const std::uint32_t parent = inSubfolder(i) ? kFirstSubfolderId + subfolderOf(i) : kBigFolderId;
    sink(catalogKey(static_cast<std::uint32_t>(kFirstFileId + i), u""), threadRecord(kFileThreadRecord, parent, fileName(i)));
  }
}

std::uint64_t ceilDiv(std::uint64_t a, std::uint64_t b) { return (a + b - 1) / b; }

bool makeMany(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  ManyLayout layout;
  HfsVolumeSpec& volumeSpec = layout.volumeSpec;
  volumeSpec.volumeName = "Nua Many";
  volumeSpec.blockSize = 512;  // one small block per file keeps a million files near half a gigabyte
  if (!applyHfsOptions(options, volumeSpec, error) || !optionUint(options, "files", kDefaultFiles, layout.files, error)) return false;
  if (layout.files == 0 || layout.files > kMaxFiles) {
    error = "--files must be 1.." + std::to_string(kMaxFiles);
    return false;
  }
  if (volumeSpec.journaled || volumeSpec.hfsx) {
    error = "hfs-many writes plain, unjournaled HFS+ only";
    return false;
  }
  const std::uint32_t bs = volumeSpec.blockSize;
  const BTreeShape shape{volumeSpec.catalogNodeSize, volumeSpec.catalogRecordsPerLeaf, 516, true, 0};
  // Pass one only counts nodes; pass two writes them where the layout put the catalog.
  BTreeBuilder counter(shape, nullptr);
  forEachRecord(layout, [&](const auto& key, const auto& data) { counter.add(key, data); });
  const BTreeSummary counted = counter.finishRecords();
  std::uint64_t catalogNodes = counted.usedNodes + counted.usedNodes / 16 + 1;
  catalogNodes += BTreeBuilder::mapNodesFor(volumeSpec.catalogNodeSize, static_cast<std::uint32_t>(catalogNodes * 2));
  const std::uint64_t catalogBlocks = ceilDiv(catalogNodes * volumeSpec.catalogNodeSize, bs);
  const std::uint64_t treeBlocks = ceilDiv(4096, bs);  // the empty extents and attributes trees

  const std::uint64_t reserved = ceilDiv(1536, bs);
  std::uint64_t total = 0, bitmapBlocks = 1, dataStart = 0;
  for (int round = 0; round < 8; ++round) {
    dataStart = reserved + bitmapBlocks + 2 * treeBlocks + catalogBlocks;
    total = dataStart + layout.files + 64 + (bs == 512 ? 2 : 1);
    total = ceilDiv(total, std::max<std::uint64_t>(1, volumeSpec.sectorSize / bs)) * std::max<std::uint64_t>(1, volumeSpec.sectorSize / bs);
    if (ceilDiv(ceilDiv(total, 8), bs) <= bitmapBlocks) break;
    bitmapBlocks = ceilDiv(ceilDiv(total, 8), bs);
  }
  if (total > 0xFFFFFFFFull) {
    error = "too many blocks; use a larger --block-size";
    return false;
  }
  layout.dataStart = static_cast<std::uint32_t>(dataStart);
  const std::uint64_t volumeBytes = total * bs;
  ImageWriter out(outPath, volumeBytes);
  if (!out.ok()) {
    error = out.error();
    return false;
  }
  auto blockByte = [bs](std::uint64_t block) { return block * bs; };
  const auto extentsStart = static_cast<std::uint32_t>(reserved + bitmapBlocks);
  const auto attributesStart = static_cast<std::uint32_t>(extentsStart + treeBlocks);
  const auto catalogStart = static_cast<std::uint32_t>(attributesStart + treeBlocks);
  auto treeSink = [&](std::uint32_t startBlock, std::uint32_t nodeSize) {
    return [&out, startBlock, nodeSize, blockByte](std::uint32_t node, std::span<const std::byte> bytes) {
      out.write(blockByte(startBlock) + std::uint64_t{node} * nodeSize, bytes);
    };
  };
  const auto treeNodes = static_cast<std::uint32_t>(treeBlocks * bs / 4096);
  BTreeBuilder extents({4096, 0, 10, false, 0}, treeSink(extentsStart, 4096));
  extents.writeHeader(extents.finishRecords(), treeNodes, static_cast<std::uint32_t>(treeBlocks * bs));
  BTreeBuilder attributes({kAttributesNodeSize, 0, kAttributesMaxKeyLength, true, 0}, treeSink(attributesStart, kAttributesNodeSize));
  attributes.writeHeader(attributes.finishRecords(), treeNodes, static_cast<std::uint32_t>(treeBlocks * bs));
  BTreeBuilder catalog(shape, treeSink(catalogStart, volumeSpec.catalogNodeSize));
  forEachRecord(layout, [&](const auto& key, const auto& data) { catalog.add(key, data); });
  const BTreeSummary summary = catalog.finishRecords();
  const auto catalogTotalNodes = static_cast<std::uint32_t>(catalogBlocks * bs / volumeSpec.catalogNodeSize);
  catalog.writeHeader(summary, catalogTotalNodes, static_cast<std::uint32_t>(catalogBlocks * bs));

  ManifestVolume volume;
  volume.fileSystem = "HFS+";
  volume.name = volumeSpec.volumeName;
  volume.sectorSize = volumeSpec.sectorSize;
  volume.sectorCount = volumeBytes / volumeSpec.sectorSize;
  volume.blockSize = bs;
  auto folderEntry = [&](std::uint32_t cnid, const std::string& name, std::uint32_t parent) {
    ManifestEntry e;
    e.path = name;
    e.name = cnid == kRootFolderId ? volumeSpec.volumeName : name;
    e.id = cnid;
    e.folder = true;
    e.foundIn = "catalog";
    const Dates dates = datesFor(cnid, volumeSpec.seed, volumeSpec.baseDate);
    e.createDate = dates.create;
    e.modDate = dates.contentMod;
    e.parentId = parent;
    return e;
  };
  volume.entries.reserve(layout.files + kSubfolders + 2);
  volume.entries.push_back(folderEntry(kRootFolderId, "", kRootParentId));
  volume.entries.push_back(folderEntry(kBigFolderId, "Many", kRootFolderId));
  for (std::uint32_t s = 0; s < kSubfolders; ++s) volume.entries.push_back(folderEntry(kFirstSubfolderId + s, "Sub0" + std::to_string(s), kRootFolderId));
  std::vector<std::byte> block(bs);
  for (std::uint64_t i = 0; i < layout.files; ++i) {
    const std::string text = fileContent(i, volumeSpec.seed);
    std::fill(block.begin(), block.end(), std::byte{0});
    for (std::size_t k = 0; k < text.size(); ++k) block[k] = static_cast<std::byte>(text[k]);
    out.write(blockByte(dataStart + i), block);  // whole blocks, so consecutive files become one write
    const auto cnid = static_cast<std::uint32_t>(kFirstFileId + i);
    const std::uint32_t parent = inSubfolder(i) ? kFirstSubfolderId + subfolderOf(i) : kBigFolderId;
    ManifestEntry e;
    e.name = toUtf8(fileName(i));
    e.path = volume.entries[parent - kFirstUserId + 1].path + "/" + e.name;
    e.id = cnid;
    e.size = text.size();
    e.foundIn = "catalog";
    e.extents = {{dataStart + i, 1}};
    e.sha256 = sha256Hex(std::as_bytes(std::span(text)));
    const Dates dates = datesFor(cnid, volumeSpec.seed, volumeSpec.baseDate);
    e.createDate = dates.create;
    e.modDate = dates.contentMod;
    e.parentId = parent;
    volume.entries.push_back(std::move(e));
  }

  std::vector<std::byte> bitmap(bitmapBlocks * bs);
  auto mark = [&](std::uint64_t b) { bitmap[b / 8] |= static_cast<std::byte>(0x80u >> (b % 8)); };
  for (std::uint64_t b = 0; b < dataStart + layout.files; ++b) mark(b);
  const std::uint64_t endReserved = bs == 512 ? 2 : 1;
  for (std::uint64_t b = total - endReserved; b < total; ++b) mark(b);
  out.write(blockByte(reserved), bitmap);

  VolumeHeader header;
  header.dates = datesFor(kRootFolderId, volumeSpec.seed, volumeSpec.baseDate);
  header.fileCount = static_cast<std::uint32_t>(layout.files);
  header.folderCount = 1 + kSubfolders;
  header.blockSize = bs;
  header.totalBlocks = static_cast<std::uint32_t>(total);
  header.freeBlocks = static_cast<std::uint32_t>(total - dataStart - layout.files - endReserved);
  header.nextAllocation = static_cast<std::uint32_t>(dataStart + layout.files);
  header.nextCatalogId = static_cast<std::uint32_t>(kFirstFileId + layout.files);
  auto forkAt = [bs](std::uint64_t start, std::uint64_t blocks) {
    Fork fork;
    fork.logicalSize = blocks * bs;
    fork.clumpSize = static_cast<std::uint32_t>(std::min<std::uint64_t>(blocks * bs, 0xFFFFFFFFu));
    fork.totalBlocks = static_cast<std::uint32_t>(blocks);
    fork.extents[0] = {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(blocks)};
    return fork;
  };
  header.allocationFile = forkAt(reserved, bitmapBlocks);
  header.extentsFile = forkAt(extentsStart, treeBlocks);
  header.attributesFile = forkAt(attributesStart, treeBlocks);
  header.catalogFile = forkAt(catalogStart, catalogBlocks);
  const auto headerBytes = encodeVolumeHeader(header);
  out.write(kVolumeHeaderOffset, headerBytes);
  out.write(volumeBytes - kVolumeHeaderOffset, headerBytes);
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  volume.extra["volumeByteOffset"] = 0;
  volume.extra["catalogFile"] = {{"extents", {{catalogStart, catalogBlocks}}}, {"nodeSize", volumeSpec.catalogNodeSize},
                                 {"totalNodes", catalogTotalNodes}, {"rootNode", summary.rootNode},
                                 {"depth", summary.depth}, {"firstLeafNode", summary.firstLeafNode},
                                 {"lastLeafNode", summary.lastLeafNode}, {"leafRecords", summary.leafRecords}};
  manifest.sectorSize = volumeSpec.sectorSize;
  manifest.imageBytes = volumeBytes;
  manifest.volumes.push_back(std::move(volume));
  return true;
}

}  // namespace

void registerHfsManyScenario() {
  registerScenario({"hfs-many", "HFS+ with --files N files (default 100000) in one big folder and ten subfolders",
                    makeMany});
}

}  // namespace nua::imagekit
