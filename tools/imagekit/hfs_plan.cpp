// Lays out an HFS+ volume: CNIDs, dates and content per entry, then every block of every file.
#include "imagekit/hfs_plan.h"

#include <algorithm>
#include <map>

#include "base/text.h"
#include "imagekit/hfs_btree.h"

namespace nua::imagekit::hfs {

namespace {

constexpr std::uint32_t kMaxNameUnits = 255;
constexpr std::uint64_t kDefaultJournalBytes = 512 * 1024;
constexpr std::uint64_t kJournalSlackBytes = 64 * 1024;

std::uint64_t splitMix(std::uint64_t& state) {
  std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

bool isPowerOfTwoIn(std::uint64_t value, std::uint64_t low, std::uint64_t high) {
  return value >= low && value <= high && (value & (value - 1)) == 0;
}

std::uint64_t ceilDiv(std::uint64_t a, std::uint64_t b) { return (a + b - 1) / b; }

std::vector<std::byte> patternContent(std::uint64_t seed, std::uint32_t cnid, std::uint64_t size) {
  std::uint64_t state = seed * 0x100000001B3ull + cnid;
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < bytes.size(); i += 8) {
    const std::uint64_t word = splitMix(state);
    for (std::size_t k = 0; k < 8 && i + k < bytes.size(); ++k) {
      bytes[i + k] = static_cast<std::byte>((word >> (8 * k)) & 0xFF);
    }
  }
  return bytes;
}

Dates entryDates(std::uint64_t seed, std::uint32_t cnid, std::uint32_t baseDate, const HfsFileSpec* file) {
  std::uint64_t state = seed ^ (static_cast<std::uint64_t>(cnid) * 0x2545F4914F6CDD1Dull);
  Dates dates;
  dates.create = baseDate + static_cast<std::uint32_t>(splitMix(state) % 30'000'000);
  dates.contentMod = dates.create + static_cast<std::uint32_t>(splitMix(state) % 1'000'000) + 1;
  if (file != nullptr && file->createDate != 0) dates.create = file->createDate;
  if (file != nullptr && file->modDate != 0) dates.contentMod = file->modDate;
  dates.attributeMod = dates.contentMod;
  dates.access = dates.contentMod + 60;
  dates.backup = dates.contentMod + 120;
  return dates;
}

bool splitPath(const std::string& path, std::vector<std::string>& parts, std::string& error) {
  if (path.size() < 2 || path.front() != '/') {
    error = "path \"" + path + "\" must start with / and name an entry";
    return false;
  }
  std::size_t start = 1;
  while (start <= path.size()) {
    const std::size_t slash = std::min(path.find('/', start), path.size());
    if (slash == start) {
      error = "path \"" + path + "\" has an empty name";
      return false;
    }
    parts.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
  return true;
}

bool addEntries(const HfsVolumeSpec& volumeSpec, VolumePlan& plan, std::string& error) {
  PlannedEntry root;
  root.name = volumeSpec.volumeName;
  root.name16 = toUtf16(volumeSpec.volumeName);
  root.cnid = kRootFolderId;
  root.parentCnid = kRootParentId;
  root.folder = true;
  root.dates = entryDates(volumeSpec.seed, kRootFolderId, volumeSpec.baseDate, nullptr);
  plan.entries.push_back(std::move(root));
  std::map<std::string, std::size_t> byPath = {{"", 0}};
  std::uint32_t nextCnid = kFirstUserId;

  for (const HfsFileSpec& file : volumeSpec.files) {
    std::vector<std::string> parts;
    if (!splitPath(file.path, parts, error)) return false;
    std::string path;
    std::size_t parent = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const bool last = i + 1 == parts.size();
      path += (path.empty() ? "" : "/") + parts[i];
      const auto found = byPath.find(path);
      if (found != byPath.end()) {
        if (last) {
          error = "path \"" + file.path + "\" listed twice";
          return false;
        }
        parent = found->second;
        continue;
      }
      PlannedEntry entry;
      entry.path = path;
      entry.name = parts[i];
      entry.name16 = toUtf16(parts[i]);
      if (entry.name16.size() > kMaxNameUnits) {
        error = "name \"" + parts[i] + "\" longer than 255 UTF-16 units";
        return false;
      }
      entry.cnid = nextCnid++;
      entry.parentIndex = parent;
      entry.parentCnid = plan.entries[parent].cnid;
      entry.folder = !last || file.folder;
      // Folders created on the way inherit the deletion of the entry that needs them.
      entry.deleted = file.deleted;
      if (plan.entries[parent].deleted && !entry.deleted) {
        error = "live \"" + file.path + "\" inside a deleted folder";
        return false;
      }
      if (!plan.entries[parent].folder) {
        error = "\"" + file.path + "\" inside a file";
        return false;
      }
      entry.dates = entryDates(volumeSpec.seed, entry.cnid, volumeSpec.baseDate, last ? &file : nullptr);
      if (last && !file.folder) {
        entry.content = !file.content.empty() ? file.content : patternContent(volumeSpec.seed, entry.cnid, file.patternBytes);
        entry.fragments = file.fragments;
        const std::uint64_t blocks = ceilDiv(entry.content.size(), volumeSpec.blockSize);
        if (file.fragments == 0 || (file.fragments > 1 && file.fragments > blocks)) {
          error = "\"" + file.path + "\" needs at least as many blocks as fragments";
          return false;
        }
      }
      byPath.emplace(path, plan.entries.size());
      parent = plan.entries.size();
      plan.entries.push_back(std::move(entry));
    }
  }
  plan.nextCatalogId = nextCnid;
  for (std::size_t i = 1; i < plan.entries.size(); ++i) {
    PlannedEntry& entry = plan.entries[i];
    PlannedEntry& parent = plan.entries[entry.parentIndex];
    ++parent.allValence;
    if (!entry.deleted) ++parent.liveValence;
    plan.hasDeleted = plan.hasDeleted || entry.deleted;
    if (!entry.deleted) ++(entry.folder ? plan.folderCount : plan.fileCount);
  }
  return true;
}

// Leaves of a tree and how many of them hold a deleted record, from record sizes alone.
struct TreeCount {
  BTreeSummary summary;
  std::uint32_t staleLeaves = 0;
};

TreeCount countCatalog(const HfsVolumeSpec& volumeSpec, const VolumePlan& plan, bool includeDeleted) {
  BTreeBuilder builder({volumeSpec.catalogNodeSize, volumeSpec.catalogRecordsPerLeaf, 516, true, 0}, nullptr);
  std::vector<std::byte> zeros(1024);
  std::vector<std::uint32_t> staleLeaves;
  for (const CatalogRecordRef& ref : catalogOrder(plan, includeDeleted, volumeSpec.hfsx)) {
    const PlannedEntry& entry = plan.entries[ref.entry];
    const bool thread = ref.kind == RecordKind::kThread;
    const std::size_t keySize = catalogKeySize(thread ? 0 : entry.name16.size());
    const std::size_t dataSize = thread ? threadRecordSize(entry.name16.size())
                                        : (entry.folder ? kFolderRecordSize : kFileRecordSize);
    const std::uint32_t leaf = builder.add(std::span(zeros).first(keySize), std::span(zeros).first(dataSize));
    if (entry.deleted && (staleLeaves.empty() || staleLeaves.back() != leaf)) staleLeaves.push_back(leaf);
  }
  return {builder.finishRecords(), static_cast<std::uint32_t>(staleLeaves.size())};
}

TreeCount countExtents(const HfsVolumeSpec& volumeSpec, const VolumePlan& plan, bool includeDeleted) {
  BTreeBuilder builder({volumeSpec.extentsNodeSize, volumeSpec.extentsRecordsPerLeaf, 10, false, 0}, nullptr);
  std::vector<std::byte> zeros(kExtentsRecordSize);
  std::vector<std::uint32_t> staleLeaves;
  for (const auto& [entryIndex, first] : overflowOrder(plan, includeDeleted)) {
    const std::uint32_t leaf = builder.add(std::span(zeros).first(kExtentsKeySize), zeros);
    if (plan.entries[entryIndex].deleted && (staleLeaves.empty() || staleLeaves.back() != leaf)) {
      staleLeaves.push_back(leaf);
    }
  }
  return {builder.finishRecords(), static_cast<std::uint32_t>(staleLeaves.size())};
}

// Blocks a B-tree file needs for `usedNodes` plus slack and its own map nodes.
PlannedFile treeFile(std::uint32_t usedNodes, std::uint32_t nodeSize, std::uint32_t blockSize) {
  std::uint64_t need = usedNodes + std::max<std::uint32_t>(1, usedNodes / 16);
  PlannedFile file;
  for (int round = 0; round < 8; ++round) {
    const std::uint64_t blocks = ceilDiv(need * nodeSize, blockSize);
    file.bytes = blocks * blockSize;
    file.totalNodes = static_cast<std::uint32_t>(file.bytes / nodeSize);
    const std::uint64_t withMaps = need + BTreeBuilder::mapNodesFor(nodeSize, file.totalNodes);
    if (withMaps <= file.totalNodes) break;
    need = withMaps;
  }
  return file;
}

bool validateSpec(const HfsVolumeSpec& volumeSpec, std::string& error) {
  if (!isPowerOfTwoIn(volumeSpec.blockSize, 512, 65536)) error = "block size must be a power of two in 512..65536";
  if (!isPowerOfTwoIn(volumeSpec.catalogNodeSize, 4096, 32768)) error = "catalog node size must be 4096..32768";
  if (!isPowerOfTwoIn(volumeSpec.extentsNodeSize, 512, 32768)) error = "extents node size must be 512..32768";
  if (volumeSpec.sectorSize != 512 && volumeSpec.sectorSize != 4096) error = "sector size must be 512 or 4096";
  if (volumeSpec.catalogExtentCount < 1 || volumeSpec.catalogExtentCount > kExtentsPerRecord) {
    error = "catalog extent count must be 1..8";
  }
  if (volumeSpec.volumeName.empty()) error = "volume name is empty";
  return error.empty();
}

}  // namespace

std::vector<CatalogRecordRef> catalogOrder(const VolumePlan& plan, bool includeDeleted, bool binary) {
  struct Keyed {
    std::uint32_t parent;
    const std::u16string* name;
    CatalogRecordRef ref;
  };
  static const std::u16string kEmpty;
  std::vector<Keyed> keyed;
  for (std::size_t i = 0; i < plan.entries.size(); ++i) {
    const PlannedEntry& entry = plan.entries[i];
    if (entry.deleted && !includeDeleted) continue;
    keyed.push_back({entry.parentCnid, &entry.name16, {i, entry.folder ? RecordKind::kFolder : RecordKind::kFile}});
    keyed.push_back({entry.cnid, &kEmpty, {i, RecordKind::kThread}});
  }
  std::sort(keyed.begin(), keyed.end(), [binary](const Keyed& a, const Keyed& b) {
    if (a.parent != b.parent) return a.parent < b.parent;
    return compareCatalogNames(*a.name, *b.name, binary) < 0;
  });
  std::vector<CatalogRecordRef> order;
  order.reserve(keyed.size());
  for (const Keyed& k : keyed) order.push_back(k.ref);
  return order;
}

std::vector<std::pair<std::size_t, std::size_t>> overflowOrder(const VolumePlan& plan, bool includeDeleted) {
  std::vector<std::pair<std::size_t, std::size_t>> order;
  for (std::size_t i = 0; i < plan.entries.size(); ++i) {
    const PlannedEntry& entry = plan.entries[i];
    if ((entry.deleted && !includeDeleted) || entry.folder) continue;
    for (std::size_t first = kExtentsPerRecord; first < entry.fragments; first += kExtentsPerRecord) {
      order.emplace_back(i, first);
    }
  }
  return order;
}

std::uint64_t forkByteToVolume(const std::vector<Extent>& extents, std::uint32_t blockSize, std::uint64_t forkByte) {
  std::uint64_t skipped = 0;
  for (const Extent& extent : extents) {
    const std::uint64_t length = static_cast<std::uint64_t>(extent.blockCount) * blockSize;
    if (forkByte < skipped + length) return static_cast<std::uint64_t>(extent.startBlock) * blockSize + forkByte - skipped;
    skipped += length;
  }
  return 0;
}

bool planVolume(const HfsVolumeSpec& volumeSpec, VolumePlan& plan, std::string& error) {
  plan = VolumePlan{};
  if (!validateSpec(volumeSpec, error) || !addEntries(volumeSpec, plan, error)) return false;
  const bool journalPlacement = volumeSpec.deletedRecordsIn == HfsDeletedPlacement::kJournal;
  if (plan.hasDeleted && journalPlacement && !volumeSpec.journaled) {
    error = "deleted entries kept in the journal need a journaled volume";
    return false;
  }
  const std::uint32_t bs = volumeSpec.blockSize;
  plan.blockSize = bs;
  plan.reservedStartBlocks = static_cast<std::uint32_t>(ceilDiv(1536, bs));
  plan.reservedEndBlocks = bs == 512 ? 2 : 1;

  const TreeCount liveCatalog = countCatalog(volumeSpec, plan, false);
  const TreeCount liveExtents = countExtents(volumeSpec, plan, false);
  const TreeCount oldCatalog = plan.hasDeleted ? countCatalog(volumeSpec, plan, true) : TreeCount{};
  const TreeCount oldExtents = plan.hasDeleted && journalPlacement ? countExtents(volumeSpec, plan, true) : TreeCount{};
  plan.staleCatalogLeaves = oldCatalog.staleLeaves;
  plan.staleExtentsLeaves = oldExtents.staleLeaves;
  plan.catalogFile = treeFile(liveCatalog.summary.usedNodes, volumeSpec.catalogNodeSize, bs);
  plan.extentsFile = treeFile(liveExtents.summary.usedNodes, volumeSpec.extentsNodeSize, bs);
  // An empty attributes tree: some readers refuse a volume without one.
  plan.attributesFile = treeFile(1, kAttributesNodeSize, bs);

  plan.journalHeaderBytes = volumeSpec.sectorSize;
  plan.blockListHeaderBytes = 4096;
  if (volumeSpec.journaled) {
    const std::uint64_t padded = ceilDiv(std::max(volumeSpec.catalogNodeSize, volumeSpec.extentsNodeSize), volumeSpec.sectorSize) *
                                 volumeSpec.sectorSize;
    const std::uint64_t staleBytes = journalPlacement ? (plan.staleCatalogLeaves + 1 + plan.staleExtentsLeaves) * padded : 0;
    std::uint64_t bytes = volumeSpec.journalBytes != 0
                              ? volumeSpec.journalBytes
                              : std::max(kDefaultJournalBytes, plan.journalHeaderBytes + plan.blockListHeaderBytes +
                                                                   staleBytes + kJournalSlackBytes);
    plan.journalBytes = ceilDiv(bytes, bs) * bs;
  }
  const std::uint64_t staleFreeBlocks =
      plan.hasDeleted && !journalPlacement ? ceilDiv(std::uint64_t{plan.staleCatalogLeaves} * volumeSpec.catalogNodeSize, bs) : 0;

  // The bitmap's own size depends on the total, so lay out until it stops growing.
  std::uint64_t bitmapBlocks = 1;
  std::uint64_t total = 0;
  for (int round = 0; round < 16; ++round) {
    std::uint64_t cursor = plan.reservedStartBlocks;
    plan.allocationFile.extents = {{static_cast<std::uint32_t>(cursor), static_cast<std::uint32_t>(bitmapBlocks)}};
    cursor += bitmapBlocks;
    if (volumeSpec.journaled) {
      plan.journalInfoBlock = static_cast<std::uint32_t>(cursor++);
      plan.journalFirstBlock = static_cast<std::uint32_t>(cursor);
      cursor += plan.journalBytes / bs;
    }
    plan.extentsFile.extents = {{static_cast<std::uint32_t>(cursor), static_cast<std::uint32_t>(plan.extentsFile.bytes / bs)}};
    cursor += plan.extentsFile.bytes / bs;
    plan.attributesFile.extents = {{static_cast<std::uint32_t>(cursor), static_cast<std::uint32_t>(plan.attributesFile.bytes / bs)}};
    cursor += plan.attributesFile.bytes / bs;
    const std::uint64_t catalogBlocks = plan.catalogFile.bytes / bs;
    const std::uint64_t pieces = std::min<std::uint64_t>(volumeSpec.catalogExtentCount, catalogBlocks);
    plan.catalogFile.extents.clear();
    for (std::uint64_t p = 0; p < pieces; ++p) {
      const std::uint64_t count = catalogBlocks / pieces + (p < catalogBlocks % pieces ? 1 : 0);
      plan.catalogFile.extents.push_back({static_cast<std::uint32_t>(cursor), static_cast<std::uint32_t>(count)});
      cursor += count + (p + 1 < pieces ? 1 : 0);  // a free block keeps the pieces apart
    }
    for (PlannedEntry& entry : plan.entries) {
      entry.extents.clear();
      const std::uint64_t blocks = ceilDiv(entry.content.size(), bs);
      for (std::uint64_t p = 0; p < entry.fragments && blocks > 0; ++p) {
        const std::uint64_t count = blocks / entry.fragments + (p < blocks % entry.fragments ? 1 : 0);
        entry.extents.push_back({static_cast<std::uint32_t>(cursor), static_cast<std::uint32_t>(count)});
        cursor += count + (p + 1 < entry.fragments ? 1 : 0);
      }
    }
    plan.staleNodeBlock = static_cast<std::uint32_t>(cursor);
    cursor += staleFreeBlocks;
    total = cursor + cursor / 8 + 16 + plan.reservedEndBlocks;
    total = std::max<std::uint64_t>(total, volumeSpec.totalBlocks);
    const std::uint64_t blocksPerSector = std::max<std::uint64_t>(1, volumeSpec.sectorSize / bs);
    total = ceilDiv(total, blocksPerSector) * blocksPerSector;
    const std::uint64_t neededBitmap = ceilDiv(ceilDiv(total, 8), bs);
    if (neededBitmap <= bitmapBlocks) break;
    bitmapBlocks = neededBitmap;
  }
  if (volumeSpec.totalBlocks != 0 && total > volumeSpec.totalBlocks) {
    error = "content needs " + std::to_string(total) + " blocks, more than the " + std::to_string(volumeSpec.totalBlocks) +
            " asked for";
    return false;
  }
  if (total > 0xFFFFFFFFull) {
    error = "volume needs more than 2^32 blocks; use a larger block size";
    return false;
  }
  plan.totalBlocks = static_cast<std::uint32_t>(total);
  plan.allocationFile.bytes = bitmapBlocks * bs;
  return true;
}

}  // namespace nua::imagekit::hfs
