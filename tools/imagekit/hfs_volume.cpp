// Writes a planned HFS+ volume: bitmap, B-trees, data forks, journal with stale nodes, both headers,
// and the manifest volume describing it.
#include "imagekit/hfs_writer.h"

#include <algorithm>
#include <map>

#include "imagekit/hfs_btree.h"
#include "imagekit/hfs_journal.h"
#include "imagekit/hfs_plan.h"

namespace nua::imagekit {

using namespace hfs;

namespace {

constexpr std::uint8_t kBinaryCompare = 0xBC;

struct TreeRecord {
  std::vector<std::byte> key;
  std::vector<std::byte> data;
  bool deleted = false;
};

struct BuiltTree {
  BTreeSummary summary;
  std::vector<TreeRecord> records;
  std::vector<std::uint32_t> recordLeaf;
  std::map<std::uint32_t, std::vector<std::byte>> leafNodes;  // kept only when collecting
  std::vector<std::uint32_t> staleLeaves;  // leaves holding a deleted record, ascending
};

Fork forkOf(const std::vector<Extent>& extents, std::uint64_t logicalSize) {
  Fork fork;
  fork.logicalSize = logicalSize;
  for (std::size_t i = 0; i < extents.size(); ++i) {
    fork.totalBlocks += extents[i].blockCount;
    if (i < kExtentsPerRecord) fork.extents[i] = extents[i];
  }
  return fork;
}

std::vector<TreeRecord> catalogRecords(const VolumePlan& plan, bool includeDeleted, bool binary) {
  std::vector<TreeRecord> records;
  for (const CatalogRecordRef& ref : catalogOrder(plan, includeDeleted, binary)) {
    const PlannedEntry& e = plan.entries[ref.entry];
    TreeRecord record;
    record.deleted = e.deleted;
    if (ref.kind == RecordKind::kThread) {
      record.key = catalogKey(e.cnid, u"");
      record.data = threadRecord(e.folder ? kFolderThreadRecord : kFileThreadRecord, e.parentCnid, e.name16);
    } else if (e.folder) {
      record.key = catalogKey(e.parentCnid, e.name16);
      record.data = folderRecord(e.cnid, includeDeleted ? e.allValence : e.liveValence, e.dates);
    } else {
      record.key = catalogKey(e.parentCnid, e.name16);
      record.data = fileRecord(e.cnid, e.dates, forkOf(e.extents, e.content.size()));
    }
    records.push_back(std::move(record));
  }
  return records;
}

std::vector<TreeRecord> overflowRecords(const VolumePlan& plan, bool includeDeleted) {
  std::vector<TreeRecord> records;
  for (const auto& [entryIndex, first] : overflowOrder(plan, includeDeleted)) {
    const PlannedEntry& e = plan.entries[entryIndex];
    std::uint32_t startBlock = 0;
    for (std::size_t i = 0; i < first; ++i) startBlock += e.extents[i].blockCount;
    std::array<Extent, kExtentsPerRecord> extents{};
    for (std::size_t i = 0; i < kExtentsPerRecord && first + i < e.extents.size(); ++i) extents[i] = e.extents[first + i];
    records.push_back({extentsKey(e.cnid, startBlock), extentsRecord(extents), e.deleted});
  }
  return records;
}

// Feeds the records to a builder; `sink` gets every node, and leaves are also kept when `collect`.
BuiltTree buildTree(const BTreeShape& shape, std::vector<TreeRecord> records, bool collect,
                    const BTreeBuilder::NodeSink& sink) {
  BuiltTree tree;
  tree.records = std::move(records);
  BTreeBuilder builder(shape, [&](std::uint32_t node, std::span<const std::byte> bytes) {
    if (collect && static_cast<std::int8_t>(bytes[8]) == kLeafNode) tree.leafNodes[node].assign(bytes.begin(), bytes.end());
    if (sink) sink(node, bytes);
  });
  for (const TreeRecord& record : tree.records) {
    const std::uint32_t leaf = builder.add(record.key, record.data);
    tree.recordLeaf.push_back(leaf);
    if (record.deleted && (tree.staleLeaves.empty() || tree.staleLeaves.back() != leaf)) tree.staleLeaves.push_back(leaf);
  }
  tree.summary = builder.finishRecords();
  return tree;
}

class VolumeWriter {
 public:
  VolumeWriter(const HfsVolumeSpec& volumeSpec, const VolumePlan& plan, ImageWriter& out, std::uint64_t byteOffset)
      : spec_(volumeSpec), plan_(plan), out_(out), byteOffset_(byteOffset), bitmap_(plan.allocationFile.bytes) {}

  void write(ManifestVolume& manifest);

 private:
  void put(std::uint64_t volumeOffset, std::span<const std::byte> bytes) { out_.write(byteOffset_ + volumeOffset, bytes); }
  void markUsed(std::uint64_t first, std::uint64_t count) {
    for (std::uint64_t b = first; b < first + count && b / 8 < bitmap_.size(); ++b) {
      if ((static_cast<std::uint8_t>(bitmap_[b / 8]) & (0x80u >> (b % 8))) == 0) ++usedBlocks_;
      bitmap_[b / 8] |= static_cast<std::byte>(0x80u >> (b % 8));
    }
  }
  void markUsed(const std::vector<Extent>& extents) {
    for (const Extent& e : extents) markUsed(e.startBlock, e.blockCount);
  }
  // Writes a node through the fork's extents a block at a time, since a node may straddle two extents.
  BTreeBuilder::NodeSink forkSink(const PlannedFile& file, std::uint32_t nodeSize) {
    return [this, &file, nodeSize](std::uint32_t node, std::span<const std::byte> bytes) {
      const std::uint32_t chunk = std::min(nodeSize, plan_.blockSize);
      for (std::uint32_t done = 0; done < nodeSize; done += chunk) {
        const std::uint64_t forkByte = static_cast<std::uint64_t>(node) * nodeSize + done;
        put(forkByteToVolume(file.extents, plan_.blockSize, forkByte), bytes.subspan(done, chunk));
      }
    };
  }
  void writeTrees();
  void writeContents();
  void writeJournal(const BuiltTree& oldCatalog, const BuiltTree& oldExtents);
  void writeFreeSpaceNodes(const BuiltTree& oldCatalog);
  void writeHeaders();
  void describe(ManifestVolume& manifest) const;

  const HfsVolumeSpec& spec_;
  const VolumePlan& plan_;
  ImageWriter& out_;
  std::uint64_t byteOffset_;
  std::vector<std::byte> bitmap_;
  std::uint64_t usedBlocks_ = 0;
  BTreeSummary catalogSummary_, extentsSummary_;
  nlohmann::json staleNodes_ = nlohmann::json::array();
};

void VolumeWriter::write(ManifestVolume& manifest) {
  markUsed(0, plan_.reservedStartBlocks);
  markUsed(plan_.totalBlocks - plan_.reservedEndBlocks, plan_.reservedEndBlocks);
  markUsed(plan_.allocationFile.extents);
  markUsed(plan_.extentsFile.extents);
  markUsed(plan_.catalogFile.extents);
  markUsed(plan_.attributesFile.extents);
  if (spec_.journaled) markUsed(plan_.journalInfoBlock, 1 + plan_.journalBytes / plan_.blockSize);
  for (const PlannedEntry& e : plan_.entries) {
    if (!e.deleted) markUsed(e.extents);
  }
  writeTrees();
  writeContents();
  if (plan_.hasDeleted) {
    const BTreeShape catalogShape{spec_.catalogNodeSize, spec_.catalogRecordsPerLeaf, 516, true,
                                  static_cast<std::uint8_t>(spec_.hfsx ? kBinaryCompare : 0)};
    const BTreeShape extentsShape{spec_.extentsNodeSize, spec_.extentsRecordsPerLeaf, 10, false, 0};
    const BuiltTree oldCatalog = buildTree(catalogShape, catalogRecords(plan_, true, spec_.hfsx), true, nullptr);
    if (spec_.deletedRecordsIn == HfsDeletedPlacement::kJournal) {
      const BuiltTree oldExtents = buildTree(extentsShape, overflowRecords(plan_, true), true, nullptr);
      writeJournal(oldCatalog, oldExtents);
    } else {
      writeFreeSpaceNodes(oldCatalog);
    }
  }
  const bool staleInJournal = plan_.hasDeleted && spec_.deletedRecordsIn == HfsDeletedPlacement::kJournal;
  if (spec_.journaled && !staleInJournal) writeJournal(BuiltTree{}, BuiltTree{});
  put(static_cast<std::uint64_t>(plan_.allocationFile.extents.front().startBlock) * plan_.blockSize, bitmap_);
  writeHeaders();
  describe(manifest);
}

void VolumeWriter::writeTrees() {
  const BTreeShape catalogShape{spec_.catalogNodeSize, spec_.catalogRecordsPerLeaf, 516, true,
                                static_cast<std::uint8_t>(spec_.hfsx ? kBinaryCompare : 0)};
  const auto catalogSink = forkSink(plan_.catalogFile, spec_.catalogNodeSize);
  BTreeBuilder catalog(catalogShape, catalogSink);
  for (const TreeRecord& r : catalogRecords(plan_, false, spec_.hfsx)) catalog.add(r.key, r.data);
  catalogSummary_ = catalog.finishRecords();
  catalog.writeHeader(catalogSummary_, plan_.catalogFile.totalNodes, static_cast<std::uint32_t>(plan_.catalogFile.bytes));

  const BTreeShape extentsShape{spec_.extentsNodeSize, spec_.extentsRecordsPerLeaf, 10, false, 0};
  BTreeBuilder extents(extentsShape, forkSink(plan_.extentsFile, spec_.extentsNodeSize));
  for (const TreeRecord& r : overflowRecords(plan_, false)) extents.add(r.key, r.data);
  extentsSummary_ = extents.finishRecords();
  extents.writeHeader(extentsSummary_, plan_.extentsFile.totalNodes, static_cast<std::uint32_t>(plan_.extentsFile.bytes));

  const BTreeShape attributesShape{kAttributesNodeSize, 0, kAttributesMaxKeyLength, true, 0};
  BTreeBuilder attributes(attributesShape, forkSink(plan_.attributesFile, kAttributesNodeSize));
  attributes.writeHeader(attributes.finishRecords(), plan_.attributesFile.totalNodes,
                         static_cast<std::uint32_t>(plan_.attributesFile.bytes));
}

void VolumeWriter::writeContents() {
  for (const PlannedEntry& e : plan_.entries) {
    std::size_t done = 0;
    for (const Extent& extent : e.extents) {
      const std::size_t length =
          std::min<std::size_t>(e.content.size() - done, static_cast<std::size_t>(extent.blockCount) * plan_.blockSize);
      put(static_cast<std::uint64_t>(extent.startBlock) * plan_.blockSize, std::span(e.content).subspan(done, length));
      done += length;
    }
  }
}

void VolumeWriter::writeHeaders() {
  VolumeHeader header;
  header.hfsx = spec_.hfsx;
  header.attributes = kAttributeUnmounted | (spec_.journaled ? kAttributeJournaled : 0);
  header.journalInfoBlock = spec_.journaled ? plan_.journalInfoBlock : 0;
  header.dates = plan_.entries.front().dates;
  header.fileCount = plan_.fileCount;
  header.folderCount = plan_.folderCount;
  header.blockSize = plan_.blockSize;
  header.totalBlocks = plan_.totalBlocks;
  header.freeBlocks = static_cast<std::uint32_t>(plan_.totalBlocks - usedBlocks_);
  header.nextAllocation = plan_.staleNodeBlock;
  header.nextCatalogId = plan_.nextCatalogId;
  header.allocationFile = forkOf(plan_.allocationFile.extents, plan_.allocationFile.bytes);
  header.extentsFile = forkOf(plan_.extentsFile.extents, plan_.extentsFile.bytes);
  header.catalogFile = forkOf(plan_.catalogFile.extents, plan_.catalogFile.bytes);
  header.allocationFile.clumpSize = plan_.blockSize;
  header.extentsFile.clumpSize = static_cast<std::uint32_t>(plan_.extentsFile.bytes);
  header.catalogFile.clumpSize = static_cast<std::uint32_t>(plan_.catalogFile.bytes);
  header.attributesFile = forkOf(plan_.attributesFile.extents, plan_.attributesFile.bytes);
  header.attributesFile.clumpSize = static_cast<std::uint32_t>(plan_.attributesFile.bytes);
  const auto bytes = encodeVolumeHeader(header);
  const std::uint64_t volumeBytes = static_cast<std::uint64_t>(plan_.totalBlocks) * plan_.blockSize;
  put(kVolumeHeaderOffset, bytes);
  put(volumeBytes - kVolumeHeaderOffset, bytes);
}

void VolumeWriter::writeFreeSpaceNodes(const BuiltTree& oldCatalog) {
  std::uint64_t offset = static_cast<std::uint64_t>(plan_.staleNodeBlock) * plan_.blockSize;
  for (std::uint32_t node : oldCatalog.staleLeaves) {
    put(offset, oldCatalog.leafNodes.at(node));
    staleNodes_.push_back({{"tree", "catalog"}, {"node", node}, {"volumeByteOffset", offset}});
    offset += spec_.catalogNodeSize;
  }
}


void VolumeWriter::writeJournal(const BuiltTree& oldCatalog, const BuiltTree& oldExtents) {
  std::vector<StaleNode> stale;
  auto home = [&](const PlannedFile& file, std::uint32_t nodeSize, std::uint32_t node) -> std::uint64_t {
    return node < file.totalNodes ? forkByteToVolume(file.extents, plan_.blockSize, std::uint64_t{node} * nodeSize) : 0;
  };
  // An older version of the first stale leaf, before its last deleted record was added, goes first:
  // the older transaction sits earlier in the buffer.
  if (spec_.journalOlderCopy && !oldCatalog.staleLeaves.empty()) {
    const std::uint32_t node = oldCatalog.staleLeaves.front();
    std::vector<NodeRecord> records;
    std::size_t lastDeleted = oldCatalog.records.size();
    for (std::size_t i = 0; i < oldCatalog.records.size(); ++i) {
      if (oldCatalog.recordLeaf[i] == node && oldCatalog.records[i].deleted) lastDeleted = i;
    }
    for (std::size_t i = 0; i < oldCatalog.records.size(); ++i) {
      if (oldCatalog.recordLeaf[i] == node && i != lastDeleted) {
        records.push_back({oldCatalog.records[i].key, oldCatalog.records[i].data});
      }
    }
    const auto& newer = oldCatalog.leafNodes.at(node);
    stale.push_back({"catalog", node,
                     encodeNode(spec_.catalogNodeSize, kLeafNode, 1, be32(newer, 0), be32(newer, 4), records),
                     home(plan_.catalogFile, spec_.catalogNodeSize, node), true});
  }
  // Descending node order puts a file's node before its folder's, as a recovery must not assume.
  for (auto it = oldCatalog.staleLeaves.rbegin(); it != oldCatalog.staleLeaves.rend(); ++it) {
    stale.push_back({"catalog", *it, oldCatalog.leafNodes.at(*it), home(plan_.catalogFile, spec_.catalogNodeSize, *it), false});
  }
  for (std::uint32_t node : oldExtents.staleLeaves) {
    stale.push_back({"extents", node, oldExtents.leafNodes.at(node), home(plan_.extentsFile, spec_.extentsNodeSize, node), false});
  }
  writeJournalArea(plan_, spec_.sectorSize, stale, [this](std::uint64_t at, std::span<const std::byte> b) { put(at, b); },
                   staleNodes_);
}

void VolumeWriter::describe(ManifestVolume& manifest) const {
  const std::uint64_t volumeBytes = static_cast<std::uint64_t>(plan_.totalBlocks) * plan_.blockSize;
  manifest.fileSystem = spec_.hfsx ? "HFSX" : "HFS+";
  manifest.name = spec_.volumeName;
  manifest.sectorSize = spec_.sectorSize;
  manifest.startSector = byteOffset_ / spec_.sectorSize;
  manifest.sectorCount = volumeBytes / spec_.sectorSize;
  manifest.blockSize = plan_.blockSize;
  const std::string deletedIn = spec_.deletedRecordsIn == HfsDeletedPlacement::kJournal ? "journal" : "free-space";
  for (const PlannedEntry& e : plan_.entries) {
    ManifestEntry entry;
    entry.path = e.path;
    entry.name = e.name;
    entry.id = e.cnid;
    entry.folder = e.folder;
    entry.size = e.content.size();
    entry.deleted = e.deleted;
    entry.foundIn = e.deleted ? deletedIn : "catalog";
    for (const Extent& x : e.extents) entry.extents.emplace_back(x.startBlock, x.blockCount);
    if (!e.folder) entry.sha256 = sha256Hex(e.content);
    entry.createDate = e.dates.create;
    entry.modDate = e.dates.contentMod;
    entry.parentId = e.parentCnid;
    manifest.entries.push_back(std::move(entry));
  }
  auto extentsJson = [](const std::vector<Extent>& extents) {
    nlohmann::json list = nlohmann::json::array();
    for (const Extent& x : extents) list.push_back({x.startBlock, x.blockCount});
    return list;
  };
  auto treeJson = [&](const PlannedFile& file, std::uint32_t nodeSize, const BTreeSummary& s) {
    return nlohmann::json{{"extents", extentsJson(file.extents)}, {"nodeSize", nodeSize},
                          {"totalNodes", file.totalNodes},         {"rootNode", s.rootNode},
                          {"depth", s.depth},                      {"firstLeafNode", s.firstLeafNode},
                          {"lastLeafNode", s.lastLeafNode},        {"leafRecords", s.leafRecords}};
  };
  manifest.extra["volumeByteOffset"] = byteOffset_;
  manifest.extra["totalBlocks"] = plan_.totalBlocks;
  manifest.extra["allocationFile"] = {{"extents", extentsJson(plan_.allocationFile.extents)}};
  manifest.extra["catalogFile"] = treeJson(plan_.catalogFile, spec_.catalogNodeSize, catalogSummary_);
  manifest.extra["extentsFile"] = treeJson(plan_.extentsFile, spec_.extentsNodeSize, extentsSummary_);
  if (spec_.journaled) {
    manifest.extra["journal"] = {{"infoBlock", plan_.journalInfoBlock},
                                 {"volumeByteOffset", std::uint64_t{plan_.journalFirstBlock} * plan_.blockSize},
                                 {"bytes", plan_.journalBytes}};
  }
  manifest.extra["staleNodes"] = staleNodes_;
}

}  // namespace

std::uint64_t hfsVolumeBytes(const HfsVolumeSpec& volumeSpec, std::string& error) {
  VolumePlan plan;
  if (!planVolume(volumeSpec, plan, error)) return 0;
  return static_cast<std::uint64_t>(plan.totalBlocks) * plan.blockSize;
}

bool buildHfsVolume(const HfsVolumeSpec& volumeSpec, ImageWriter& out, std::uint64_t byteOffset, ManifestVolume& manifest,
                    std::string& error) {
  VolumePlan plan;
  if (!planVolume(volumeSpec, plan, error)) return false;
  const std::uint64_t volumeBytes = static_cast<std::uint64_t>(plan.totalBlocks) * plan.blockSize;
  if (byteOffset > out.totalBytes() || volumeBytes > out.totalBytes() - byteOffset) {
    error = "volume of " + std::to_string(volumeBytes) + " bytes at " + std::to_string(byteOffset) +
            " does not fit an image of " + std::to_string(out.totalBytes());
    return false;
  }
  VolumeWriter writer(volumeSpec, plan, out, byteOffset);
  writer.write(manifest);
  if (!out.ok()) {
    error = out.error();
    return false;
  }
  return true;
}

}  // namespace nua::imagekit
