// Reads FAT directories back after mtools has written them, long names included.
#include "imagekit/fat_directory.h"

#include <algorithm>
#include <array>
#include <unordered_set>

namespace nua::imagekit {

namespace {

constexpr int kMaxDepth = 32;
constexpr std::array<std::size_t, 13> kLongNameUnitOffsets = {1, 3, 5, 7, 9, 14, 16, 18, 20, 22, 24, 28, 30};

struct LongNameSlot {
  std::uint8_t order = 0;
  std::uint8_t checksum = 0;
  std::vector<std::uint16_t> units;
};

void appendUtf8(std::string& out, std::uint32_t unit) {
  if (unit < 0x80) {
    out.push_back(static_cast<char>(unit));
  } else if (unit < 0x800) {
    out.push_back(static_cast<char>(0xC0 + unit / 64));
    out.push_back(static_cast<char>(0x80 + unit % 64));
  } else {
    out.push_back(static_cast<char>(0xE0 + unit / 4096));
    out.push_back(static_cast<char>(0x80 + (unit / 64) % 64));
    out.push_back(static_cast<char>(0x80 + unit % 64));
  }
}

std::uint8_t shortNameChecksum(ByteSpan slot) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < 11; ++i) sum = ((sum % 2 != 0 ? 0x80U : 0U) + sum / 2 + u8(slot, i)) % 256U;
  return static_cast<std::uint8_t>(sum);
}

// The long name of a run of slots, which lie last part first; empty when the run does not fit the entry.
std::string assembleLongName(const std::vector<LongNameSlot>& run, ByteSpan shortSlot, bool deleted) {
  if (run.empty()) return {};
  for (std::size_t k = 0; k < run.size(); ++k) {
    if (run[k].checksum != run.front().checksum) return {};
    // A deleted run has lost its order bytes to the deletion mark, and the checksum's first letter with it.
    if (!deleted && (run[k].order % 0x40U != run.size() - k || run[k].checksum != shortNameChecksum(shortSlot))) {
      return {};
    }
  }
  std::string name;
  for (std::size_t k = run.size(); k-- > 0;) {
    for (const std::uint16_t unit : run[k].units) {
      if (unit == 0x0000 || unit == 0xFFFF) return name;
      appendUtf8(name, unit);
    }
  }
  return name;
}

std::string trimmedField(ByteSpan slot, std::size_t offset, std::size_t length, bool lower) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text.push_back(static_cast<char>(u8(slot, offset + i)));
  while (!text.empty() && text.back() == ' ') text.pop_back();
  if (lower) std::transform(text.begin(), text.end(), text.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

FatDirEntry decodeShortEntry(ByteSpan slot, std::uint64_t slotByteOffset, bool fat32) {
  FatDirEntry entry;
  entry.deleted = u8(slot, 0) == kFatDeletedMark;
  entry.attributes = u8(slot, 11);
  const std::uint8_t caseFlags = u8(slot, 12);
  std::string base = trimmedField(slot, 0, 8, false);
  const std::string ext = trimmedField(slot, 8, 3, false);
  if (!base.empty() && u8(slot, 0) == 0x05) base[0] = static_cast<char>(0xE5);  // 0x05 stands for a real 0xE5
  if (entry.deleted && !base.empty()) base[0] = '?';
  entry.shortName = ext.empty() ? base : base + "." + ext;
  std::string lowerBase = trimmedField(slot, 0, 8, (caseFlags & 0x08) != 0);
  if (entry.deleted && !lowerBase.empty()) lowerBase[0] = '?';
  const std::string lowerExt = trimmedField(slot, 8, 3, (caseFlags & 0x10) != 0);
  entry.name = lowerExt.empty() ? lowerBase : lowerBase + "." + lowerExt;
  entry.firstCluster = le16(slot, 26) + (fat32 ? std::uint32_t{le16(slot, 20)} * 0x10000U : 0U);
  entry.size = le32(slot, 28);
  entry.createDate = std::uint32_t{le16(slot, 16)} * 0x10000U + le16(slot, 14);
  entry.modDate = std::uint32_t{le16(slot, 24)} * 0x10000U + le16(slot, 22);
  entry.slotByteOffset = slotByteOffset;
  return entry;
}

class TreeWalker {
 public:
  TreeWalker(ByteSpan volume, const FatGeometry& geometry, bool includeDeleted, const DeletedClusterLookup& lookup)
      : volume_(volume), geometry_(geometry), includeDeleted_(includeDeleted), lookup_(lookup) {}

  void walkRoot() {
    std::vector<std::uint64_t> slots;
    if (geometry_.kind == FatKind::Fat32) {
      const FatChain chain = walkFatChain(volume_, geometry_, geometry_.rootCluster);
      if (!chain.complete) result_.notes.push_back("root: " + chain.stopReason);
      entered_.insert(geometry_.rootCluster);
      slots = clusterSlots(chain.clusters);
    } else {
      for (std::uint64_t i = 0; i < geometry_.rootEntryCount; ++i) slots.push_back(geometry_.rootDirByteOffset + i * kFatDirEntrySize);
    }
    walkDirectory(slots, "", false, 0);
  }

  FatWalk take() { return std::move(result_); }

 private:
  std::vector<std::uint64_t> clusterSlots(const std::vector<std::uint32_t>& clusters) const {
    std::vector<std::uint64_t> slots;
    const std::uint32_t perCluster = geometry_.clusterBytes() / kFatDirEntrySize;
    for (const std::uint32_t cluster : clusters) {
      if (!geometry_.validCluster(cluster)) continue;
      for (std::uint32_t i = 0; i < perCluster; ++i) slots.push_back(geometry_.clusterByteOffset(cluster) + std::uint64_t{i} * kFatDirEntrySize);
    }
    return slots;
  }

  [[nodiscard]] bool startsWithDotEntries(std::uint32_t cluster) const {
    if (!geometry_.validCluster(cluster)) return false;
    const std::uint64_t offset = geometry_.clusterByteOffset(cluster);
    if (offset > volume_.size() || !fits(volume_.size(), static_cast<std::size_t>(offset), 64)) return false;
    return u8(volume_, offset) == '.' && u8(volume_, offset + 32) == '.' && u8(volume_, offset + 33) == '.';
  }

  void walkDirectory(const std::vector<std::uint64_t>& slots, const std::string& path, bool inDeleted, int depth) {
    std::vector<LongNameSlot> run;
    for (const std::uint64_t offset : slots) {
      if (offset > volume_.size() || !fits(volume_.size(), static_cast<std::size_t>(offset), kFatDirEntrySize)) break;
      const ByteSpan slot = volume_.subspan(static_cast<std::size_t>(offset), kFatDirEntrySize);
      const std::uint8_t first = u8(slot, 0);
      if (first == 0x00) break;
      const std::uint8_t attributes = u8(slot, 11);
      if (attributes == kFatAttrLongName) {
        LongNameSlot part;
        part.order = first;
        part.checksum = u8(slot, 13);
        for (const std::size_t unitOffset : kLongNameUnitOffsets) part.units.push_back(le16(slot, unitOffset));
        run.push_back(std::move(part));
        continue;
      }
      result_.shortSlots.push_back(offset);
      std::vector<LongNameSlot> ownRun;
      ownRun.swap(run);
      if (first == '.' || (attributes & kFatAttrVolumeLabel) != 0) continue;
      FatWalkEntry item;
      item.entry = decodeShortEntry(slot, offset, geometry_.kind == FatKind::Fat32);
      if (item.entry.deleted && !includeDeleted_) continue;
      const std::string longName = assembleLongName(ownRun, slot, item.entry.deleted);
      if (!longName.empty()) item.entry.name = longName;
      item.path = path + "/" + item.entry.name;
      item.inDeletedFolder = inDeleted;
      const bool deleted = item.entry.deleted || inDeleted;
      if (deleted) {
        item.clusters = lookup_ ? lookup_(offset, item.entry.firstCluster) : std::vector<std::uint32_t>{};
      } else if (item.entry.firstCluster != 0) {
        const FatChain chain = walkFatChain(volume_, geometry_, item.entry.firstCluster);
        if (!chain.complete) result_.notes.push_back(item.path + ": " + chain.stopReason);
        item.clusters = chain.clusters;
      }
      const bool folder = item.entry.isFolder();
      const std::vector<std::uint32_t> children = item.clusters;
      const std::string childPath = item.path;
      result_.entries.push_back(std::move(item));
      if (folder) enterFolder(children, childPath, deleted, depth + 1);
    }
  }

  void enterFolder(const std::vector<std::uint32_t>& clusters, const std::string& path, bool deleted, int depth) {
    if (clusters.empty()) return;
    if (depth > kMaxDepth) {
      result_.notes.push_back(path + ": deeper than " + std::to_string(kMaxDepth) + " folders");
      return;
    }
    if (!entered_.insert(clusters.front()).second) {
      result_.notes.push_back(path + ": leads back to cluster " + std::to_string(clusters.front()));
      return;
    }
    if (deleted && !startsWithDotEntries(clusters.front())) return;  // reused since the deletion
    walkDirectory(clusterSlots(clusters), path, deleted, depth);
  }

  ByteSpan volume_;
  const FatGeometry& geometry_;
  bool includeDeleted_;
  const DeletedClusterLookup& lookup_;
  std::unordered_set<std::uint32_t> entered_;
  FatWalk result_;
};

}  // namespace

FatWalk walkFatTree(ByteSpan volume, const FatGeometry& geometry, bool includeDeleted,
                    const DeletedClusterLookup& deletedClusters) {
  TreeWalker walker(volume, geometry, includeDeleted, deletedClusters);
  walker.walkRoot();
  return walker.take();
}

void stampFatDates(MutableByteSpan volume, const std::vector<std::uint64_t>& slots, std::uint64_t seed) {
  const std::uint32_t year = 2010 + static_cast<std::uint32_t>(seed % 12);
  const std::uint32_t month = 1 + static_cast<std::uint32_t>((seed / 12) % 12);
  for (std::size_t i = 0; i < slots.size(); ++i) {
    const std::uint64_t offset = slots[i];
    if (offset > volume.size() || !fits(volume.size(), static_cast<std::size_t>(offset), kFatDirEntrySize)) continue;
    const auto index = static_cast<std::uint32_t>(i);
    const std::uint32_t day = 1 + index % 27;
    const std::uint32_t createDate = (year - 1980) * 512 + month * 32 + day;
    const std::uint32_t modifyDate = createDate + 1;  // the day after: day stays within 2..28
    const std::uint32_t hour = 8 + index % 12;
    const std::uint32_t minute = (index * 7 + static_cast<std::uint32_t>(seed % 60)) % 60;
    const std::uint32_t createTime = hour * 2048 + minute * 32 + index % 30;
    const std::uint32_t modifyTime = (hour + 1) * 2048 + minute * 32 + (index + 5) % 30;
    const auto at = static_cast<std::size_t>(offset);
    put8(volume, at + 13, 0);
    putLe16(volume, at + 14, static_cast<std::uint16_t>(createTime));
    putLe16(volume, at + 16, static_cast<std::uint16_t>(createDate));
    putLe16(volume, at + 18, static_cast<std::uint16_t>(modifyDate));
    putLe16(volume, at + 22, static_cast<std::uint16_t>(modifyTime));
    putLe16(volume, at + 24, static_cast<std::uint16_t>(modifyDate));
  }
}

}  // namespace nua::imagekit
