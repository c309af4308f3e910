// Driver-style deletion in a written HFS+ volume: records removed by moving their followers down,
// emptied nodes freed only in the map, blocks freed in the allocation file.
#include "imagekit/hfs_driver_delete.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/bytes.h"

namespace nua::imagekit {
namespace {

constexpr std::size_t kDescriptorSize = 14;
constexpr std::int8_t kLeaf = -1;
constexpr std::int8_t kIndex = 0;
constexpr std::uint16_t kFolderRecord = 1, kFileRecord = 2, kFolderThread = 3, kFileThread = 4;

// One B-tree file of the image, edited node by node.
class TreeFileEdit {
 public:
  TreeFileEdit(ImageWriter& out, const ManifestVolume& volume, const char* name)
      : out_(out), volume_(volume), tree_(volume.extra.at(name)), nodeSize_(tree_.at("nodeSize").get<std::size_t>()) {
    totalNodes_ = tree_.at("totalNodes").get<std::uint32_t>();
  }

  [[nodiscard]] std::uint64_t nodeByte(std::uint64_t node) const {
    std::uint64_t forkByte = node * nodeSize_;
    for (const auto& extent : tree_.at("extents")) {
      const std::uint64_t length = extent.at(1).get<std::uint64_t>() * volume_.blockSize;
      if (forkByte < length)
        return volume_.extra.at("volumeByteOffset").get<std::uint64_t>() +
               extent.at(0).get<std::uint64_t>() * volume_.blockSize + forkByte;
      forkByte -= length;
    }
    return 0;
  }
  std::vector<std::byte> read(std::uint32_t node) {
    std::vector<std::byte> bytes(nodeSize_);
    (void)out_.read(nodeByte(node), bytes);
    return bytes;
  }
  void write(std::uint32_t node, const std::vector<std::byte>& bytes) { out_.write(nodeByte(node), bytes); }
  [[nodiscard]] std::uint32_t totalNodes() const { return totalNodes_; }
  [[nodiscard]] std::size_t nodeSize() const { return nodeSize_; }

  // Removes record `index` of `node` by moving the records after it down; the old bytes stay behind.
  // Returns the removed record's bytes.
  static std::vector<std::byte> removeRecord(std::vector<std::byte>& node, std::size_t index) {
    const std::size_t size = node.size();
    const std::uint16_t count = be16(node, 10);
    auto offsetOf = [&](std::size_t i) -> std::size_t { return be16(node, size - 2 * (i + 1)); };
    const std::size_t start = offsetOf(index), next = offsetOf(index + 1), freeStart = offsetOf(count);
    const std::size_t length = next - start;
    std::vector<std::byte> removed(node.begin() + static_cast<std::ptrdiff_t>(start),
                                   node.begin() + static_cast<std::ptrdiff_t>(next));
    std::copy(node.begin() + static_cast<std::ptrdiff_t>(next), node.begin() + static_cast<std::ptrdiff_t>(freeStart),
              node.begin() + static_cast<std::ptrdiff_t>(start));
    for (std::size_t i = index; i < count; ++i)
      putBe16(node, size - 2 * (i + 1), static_cast<std::uint16_t>(offsetOf(i + 1) - length));
    putBe16(node, 10, static_cast<std::uint16_t>(count - 1));
    return removed;
  }

  // Frees an emptied node: its map bit, the sibling links and header fields that name it, and the
  // index record that points to it (freeing that index node in turn when it empties). Its bytes stay.
  void freeNode(std::uint32_t n, const std::vector<std::byte>& leaf) {
    const std::uint32_t forward = be32(leaf, 0), backward = be32(leaf, 4);
    if (forward != 0) {
      auto next = read(forward);
      putBe32(next, 4, backward);
      write(forward, next);
    }
    if (backward != 0) {
      auto previous = read(backward);
      putBe32(previous, 0, forward);
      write(backward, previous);
    }
    auto header = read(0);
    const std::size_t h = kDescriptorSize;
    if (static_cast<std::int8_t>(leaf[8]) == kLeaf && be32(header, h + 10) == n) putBe32(header, h + 10, forward);
    if (static_cast<std::int8_t>(leaf[8]) == kLeaf && be32(header, h + 14) == n) putBe32(header, h + 14, backward);
    if (be32(header, h + 2) == n) {  // the root itself: the tree is empty now
      putBe32(header, h + 2, 0);
      putBe16(header, h + 0, 0);
    }
    putBe32(header, h + 26, be32(header, h + 26) + 1);
    const std::size_t mapStart = be16(header, header.size() - 6);
    const std::size_t byte = mapStart + n / 8;
    header[byte] = static_cast<std::byte>(std::to_integer<unsigned>(header[byte]) & ~(0x80u >> (n % 8)));
    write(0, header);
    for (std::uint32_t i = 1; i < totalNodes_; ++i) {
      auto node = read(i);
      if (static_cast<std::int8_t>(node[8]) != kIndex || node[9] == std::byte{0}) continue;
      for (std::size_t r = 0; r < be16(node, 10); ++r) {
        const std::size_t at = be16(node, node.size() - 2 * (r + 1));
        const std::size_t keyBytes = 2 + be16(node, at);
        if (be32(node, at + keyBytes) != n) continue;
        (void)removeRecord(node, r);
        write(i, node);
        if (be16(node, 10) == 0) freeNode(i, node);
        break;
      }
    }
  }

  void addLeafRecords(std::int32_t delta) {
    auto header = read(0);
    putBe32(header, kDescriptorSize + 6, static_cast<std::uint32_t>(static_cast<std::int64_t>(be32(header, kDescriptorSize + 6)) + delta));
    write(0, header);
  }

  // Removes every leaf record `matches` accepts, node by node; reports where each removed record's
  // bytes are afterwards: "catalog-slack" when whole in the free space, "catalog-free-node" when its
  // node was freed, "overwritten" otherwise.
  template <class Match>
  std::vector<std::pair<std::uint16_t, std::string>> removeLeafRecords(const Match& matches) {
    std::vector<std::pair<std::uint16_t, std::string>> fates;
    for (std::uint32_t n = 1; n < totalNodes_; ++n) {
      auto node = read(n);
      if (static_cast<std::int8_t>(node[8]) != kLeaf) continue;
      std::vector<std::vector<std::byte>> removed;
      for (std::size_t r = be16(node, 10); r-- > 0;) {
        const std::size_t at = be16(node, node.size() - 2 * (r + 1));
        if (matches(ByteSpan(node), at)) removed.push_back(removeRecord(node, r));
      }
      if (removed.empty()) continue;
      const bool emptied = be16(node, 10) == 0;
      write(n, node);
      addLeafRecords(-static_cast<std::int32_t>(removed.size()));
      if (emptied) freeNode(n, node);
      const std::size_t freeStart = be16(node, node.size() - 2 * (be16(node, 10) + 1));
      for (const auto& record : removed) {
        const auto found = std::search(node.begin() + static_cast<std::ptrdiff_t>(freeStart), node.end(), record.begin(), record.end());
        const std::uint16_t type = record.size() >= 4 ? be16(record, 2 + be16(record, 0)) : 0;
        fates.emplace_back(type, found == node.end() ? "overwritten" : emptied ? "catalog-free-node" : "catalog-slack");
      }
    }
    return fates;
  }

 private:
  ImageWriter& out_;
  const ManifestVolume& volume_;
  const nlohmann::json& tree_;
  std::size_t nodeSize_;
  std::uint32_t totalNodes_ = 0;
};

ManifestEntry* entryAt(ManifestVolume& volume, std::string path) {
  if (!path.empty() && path.front() == '/') path.erase(0, 1);
  for (ManifestEntry& e : volume.entries) {
    std::string own = e.path;
    if (!own.empty() && own.front() == '/') own.erase(0, 1);
    if (own == path) return &e;
  }
  return nullptr;
}

// Sets (`used`) or clears the allocation bits of a run of blocks, and keeps freeBlocks in step.
void markBlocks(ImageWriter& out, const ManifestVolume& volume, std::uint64_t start, std::uint64_t count, bool used) {
  const std::uint64_t volumeByte = volume.extra.at("volumeByteOffset").get<std::uint64_t>();
  const auto& first = volume.extra.at("allocationFile").at("extents").at(0);
  const std::uint64_t bitmapByte = volumeByte + first.at(0).get<std::uint64_t>() * volume.blockSize;
  for (std::uint64_t b = start; b < start + count; ++b) {
    std::array<std::byte, 1> byte{};
    (void)out.read(bitmapByte + b / 8, byte);
    const unsigned bit = 0x80u >> (b % 8);
    unsigned value = std::to_integer<unsigned>(byte[0]);
    value = used ? (value | bit) : (value & ~bit);
    byte[0] = static_cast<std::byte>(value);
    out.write(bitmapByte + b / 8, byte);
  }
  std::array<std::byte, 4> freeBlocks{};
  (void)out.read(volumeByte + 1024 + 48, freeBlocks);
  const std::uint32_t now = be32(freeBlocks, 0);
  putBe32(freeBlocks, 0, static_cast<std::uint32_t>(used ? now - count : now + count));
  out.write(volumeByte + 1024 + 48, freeBlocks);
}

void addToHeaderCount(ImageWriter& out, const ManifestVolume& volume, std::size_t field, std::int32_t delta) {
  const std::uint64_t at = volume.extra.at("volumeByteOffset").get<std::uint64_t>() + 1024 + field;
  std::array<std::byte, 4> value{};
  (void)out.read(at, value);
  putBe32(value, 0, static_cast<std::uint32_t>(static_cast<std::int64_t>(be32(value, 0)) + delta));
  out.write(at, value);
}

// Lowers the valence of folder `folderID` in its catalog record by one.
void lowerValence(TreeFileEdit& catalog, std::uint64_t folderID) {
  for (std::uint32_t n = 1; n < catalog.totalNodes(); ++n) {
    auto node = catalog.read(n);
    if (static_cast<std::int8_t>(node[8]) != kLeaf) continue;
    for (std::size_t r = 0; r < be16(node, 10); ++r) {
      const std::size_t at = be16(node, node.size() - 2 * (r + 1));
      const std::size_t body = at + 2 + be16(node, at);
      if (be16(node, body) != kFolderRecord || be32(node, body + 8) != folderID) continue;
      putBe32(node, body + 4, be32(node, body + 4) - 1);
      catalog.write(n, node);
      return;
    }
  }
}

bool deleteEntry(ImageWriter& out, ManifestVolume& volume, ManifestEntry& entry, std::string& error) {
  TreeFileEdit catalog(out, volume, "catalogFile");
  const auto id = static_cast<std::uint32_t>(entry.id);
  const auto parent = static_cast<std::uint32_t>(entry.parentId);
  const auto fates = catalog.removeLeafRecords([&](ByteSpan node, std::size_t at) {
    const std::size_t body = at + 2 + be16(node, at);
    const std::uint16_t type = be16(node, body);
    if (type == kFolderRecord || type == kFileRecord) return be32(node, at + 2) == parent && be32(node, body + 8) == id;
    return (type == kFolderThread || type == kFileThread) && be32(node, at + 2) == id;
  });
  if (fates.size() != 2) {
    error = "deletion of " + entry.path + ": record and thread not both found";
    return false;
  }
  for (const auto& [type, fate] : fates)
    if (type == kFolderRecord || type == kFileRecord) entry.foundIn = fate;
  entry.deleted = true;
  lowerValence(catalog, parent);
  addToHeaderCount(out, volume, entry.folder ? 36 : 32, -1);
  if (!entry.folder) {
    for (const auto& [start, count] : entry.extents) markBlocks(out, volume, start, count, false);
    TreeFileEdit extents(out, volume, "extentsFile");
    if (extents.totalNodes() > 1)
      (void)extents.removeLeafRecords([&](ByteSpan node, std::size_t at) { return be32(node, at + 4) == id; });
  }
  return true;
}

}  // namespace

bool deleteLikeDriver(ImageWriter& out, ManifestVolume& volume, const DriverDeletion& deletion, std::string& error) {
  for (const std::string& path : deletion.paths) {
    ManifestEntry* entry = entryAt(volume, path);
    if (entry == nullptr) {
      error = "deletion: no entry " + path;
      return false;
    }
    if (!deleteEntry(out, volume, *entry, error)) return false;
  }
  for (const auto& [deletedPath, livePath] : deletion.reuses) {
    ManifestEntry* gone = entryAt(volume, deletedPath);
    ManifestEntry* live = entryAt(volume, livePath);
    if (gone == nullptr || live == nullptr || gone->extents.empty() || live->extents.size() != 1 ||
        live->extents[0].second > gone->extents[0].second) {
      error = "reuse: " + deletedPath + " can't take " + livePath;
      return false;
    }
    const auto [oldStart, count] = live->extents[0];
    const std::uint64_t newStart = gone->extents[0].first;
    const std::uint64_t volumeByte = volume.extra.at("volumeByteOffset").get<std::uint64_t>();
    std::vector<std::byte> data(count * volume.blockSize);
    (void)out.read(volumeByte + oldStart * volume.blockSize, data);
    out.write(volumeByte + newStart * volume.blockSize, data);
    markBlocks(out, volume, oldStart, count, false);
    markBlocks(out, volume, newStart, count, true);
    // The live file's record now names the new blocks.
    TreeFileEdit catalog(out, volume, "catalogFile");
    bool moved = false;
    for (std::uint32_t n = 1; n < catalog.totalNodes() && !moved; ++n) {
      auto node = catalog.read(n);
      if (static_cast<std::int8_t>(node[8]) != kLeaf) continue;
      for (std::size_t r = 0; r < be16(node, 10) && !moved; ++r) {
        const std::size_t at = be16(node, node.size() - 2 * (r + 1));
        const std::size_t body = at + 2 + be16(node, at);
        if (be16(node, body) != kFileRecord || be32(node, body + 8) != live->id) continue;
        putBe32(node, body + 88 + 16, static_cast<std::uint32_t>(newStart));  // dataFork.extents[0].startBlock
        catalog.write(n, node);
        moved = true;
      }
    }
    if (!moved) {
      error = "reuse: no record of " + livePath;
      return false;
    }
    live->extents[0].first = newStart;
    gone->reused = true;
  }
  return out.ok();
}

}  // namespace nua::imagekit
