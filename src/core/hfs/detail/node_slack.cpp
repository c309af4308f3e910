// Shape readers for records left in node slack and freed nodes.
#include "hfs/detail/node_slack.h"

#include <algorithm>

#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_file.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"

namespace nua::detail {
namespace {

constexpr std::uint16_t kExtentKeyLength = 10;
constexpr std::size_t kExtentLeafRecordSize = kExtentKeySize + kExtentRecordSize;

std::size_t evenAtOrAbove(std::size_t at) { return at + (at & 1u); }

// The catalog record at `at` of `area` (the node cut at the slack's end), when its shape holds.
std::optional<FragmentRecord> catalogRecordAt(ByteSpan area, std::size_t at, std::uint64_t blockBytes,
                                              std::size_t& recordBytes) {
  if (!fits(area.size(), at, 8)) return std::nullopt;
  const std::uint16_t keyLength = be16(area, at);
  const std::uint16_t nameLength = be16(area, at + 6);
  if (nameLength == 0 || nameLength > kMaxNameLength || keyLength != kCatalogKeyMinLength + 2u * nameLength)
    return std::nullopt;
  const std::uint32_t parentID = be32(area, at + 2);
  if (parentID <= 1) return std::nullopt;  // no parent, or the volume root's own record
  const std::size_t body = at + 2 + keyLength;
  if (!fits(area.size(), body, 2)) return std::nullopt;
  const auto recordType = static_cast<std::int16_t>(be16(area, body));
  const std::size_t bodyBytes = recordType == kFolderRecordType ? kCatalogFolderSize
                                : recordType == kFileRecordType ? kCatalogFileSize
                                                                : 0;
  if (bodyBytes == 0 || !fits(area.size(), body, bodyBytes)) return std::nullopt;
  auto key = parseHFSPlusCatalogKey(area.subspan(at, keyLength + 2u));
  if (!key || key->name.empty() || key->name == u".DS_Store") return std::nullopt;
  FragmentRecord record;
  record.key = *key;
  if (recordType == kFolderRecordType) {
    auto folder = parseHFSPlusCatalogFolder(area.subspan(body, bodyBytes));
    if (!folder || folder->folderID < kFirstUserCatalogNodeID || folder->createDate == 0 ||
        folder->contentModDate == 0)
      return std::nullopt;
    record.folder = *folder;
    record.step = FragmentStep::kFolder;
  } else {
    auto file = parseHFSPlusCatalogFile(area.subspan(body, bodyBytes));
    if (!file || file->fileID < kFirstUserCatalogNodeID || file->createDate == 0 || file->contentModDate == 0 ||
        !forkFitsItsBlocks(file->dataFork, blockBytes) || !forkFitsItsBlocks(file->resourceFork, blockBytes))
      return std::nullopt;
    record.file = *file;
    record.step = FragmentStep::kFile;
  }
  recordBytes = 2 + keyLength + bodyBytes;
  return record;
}

bool extentRecordHolds(const HFSPlusExtentRecord& extents) {
  if (extents[0].blockCount == 0) return false;
  bool ended = false;
  for (const auto& d : extents) {
    if (d.blockCount == 0) {
      ended = true;
      if (d.startBlock != 0) return false;
    } else if (ended) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<NodeSlack> nodeSlack(ByteSpan node, std::uint16_t numRecords) {
  const std::size_t tableBytes = 2 * (static_cast<std::size_t>(numRecords) + 1);
  if (node.size() < kBTNodeDescriptorSize || tableBytes > node.size() - kBTNodeDescriptorSize) return std::nullopt;
  const std::size_t tableStart = node.size() - tableBytes;
  // The table's last entry (nearest the table start) is where free space begins.
  const std::size_t freeStart = be16(node, tableStart);
  if (freeStart < kBTNodeDescriptorSize || freeStart > tableStart) return std::nullopt;
  return NodeSlack{freeStart, tableStart};
}

NodeSlack freedNodeSpace(ByteSpan node) {
  return NodeSlack{std::min(kBTNodeDescriptorSize, node.size()), node.size()};
}

std::vector<FragmentRecord> findStaleCatalogRecords(ByteSpan node, NodeSlack slack, std::uint64_t blockBytes) {
  std::vector<FragmentRecord> found;
  if (slack.end > node.size() || slack.begin >= slack.end) return found;
  const ByteSpan area = node.first(slack.end);
  // Each step moves on by at least two bytes, so the walk ends within the slack.
  for (std::size_t at = evenAtOrAbove(slack.begin); at < slack.end;) {
    std::size_t recordBytes = 0;
    if (auto record = catalogRecordAt(area, at, blockBytes, recordBytes)) {
      found.push_back(*record);
      at = evenAtOrAbove(at + recordBytes);
    } else {
      at += 2;
    }
  }
  return found;
}

std::vector<StaleExtentRecord> findStaleExtentRecords(ByteSpan node, NodeSlack slack) {
  std::vector<StaleExtentRecord> found;
  if (slack.end > node.size() || slack.begin >= slack.end) return found;
  const ByteSpan area = node.first(slack.end);
  for (std::size_t at = evenAtOrAbove(slack.begin); at < slack.end;) {
    if (fits(area.size(), at, kExtentLeafRecordSize) && be16(area, at) == kExtentKeyLength) {
      auto key = parseHFSPlusExtentKey(area.subspan(at, kExtentKeySize));
      const auto forkType = std::to_integer<std::uint8_t>(area[at + 2]);
      const auto pad = std::to_integer<std::uint8_t>(area[at + 3]);
      if (key && (forkType == kDataFork || forkType == kResourceFork) && pad == 0 &&
          key->fileID >= kFirstUserCatalogNodeID) {
        const HFSPlusExtentRecord extents = readExtentRecord(area, at + kExtentKeySize);
        if (extentRecordHolds(extents)) {
          found.push_back(StaleExtentRecord{*key, extents});
          at += kExtentLeafRecordSize;
          continue;
        }
      }
    }
    at += 2;
  }
  return found;
}

}  // namespace nua::detail
