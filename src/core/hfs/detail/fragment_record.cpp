// The record checks shared by the whole-volume and the journal fragment readers.
#include "hfs/detail/fragment_record.h"

#include <algorithm>

#include "ondisk/bt_node_descriptor.h"

namespace nua::detail {

namespace {
constexpr std::uint16_t kMaxKeyLength = 517;
}  // namespace

bool forkFitsItsBlocks(const HFSPlusForkData& fork, std::uint64_t blockBytes) {
  if (blockBytes == 0) return false;
  // 64-bit product: a 32-bit one would drop every fork of 4 GiB or more.
  if (fork.logicalSize > static_cast<std::uint64_t>(fork.totalBlocks) * blockBytes) return false;
  return fork.totalBlocks == fork.logicalSize / blockBytes + (fork.logicalSize % blockBytes != 0 ? 1 : 0);
}

FragmentRecord readFragmentRecord(ByteSpan node, std::size_t sectorBytes, std::uint16_t numRecords, std::size_t index,
                                  FragmentRules rules) {
  FragmentRecord out;
  const auto end = [&] {
    out.step = FragmentStep::kEnd;
    return out;
  };
  const auto next = [&] {
    out.step = FragmentStep::kNext;
    return out;
  };
  const bool journal = rules == FragmentRules::kJournal;
  const std::size_t nodeBytes = node.size();
  if (2 * (index + 1) > nodeBytes) return end();
  const std::size_t slot = nodeBytes - 2 * (index + 1);
  // The offset table of a found node is trusted only as far as the sector whose tail was tested.
  if (slot + sectorBytes < nodeBytes) return end();
  const std::int64_t limit =
      static_cast<std::int64_t>(nodeBytes) - 1 - 2 - 2 * static_cast<std::int64_t>(numRecords);
  const auto within = [&](std::size_t at) { return static_cast<std::int64_t>(at) <= limit; };
  const std::size_t offset = be16(node, slot);
  if (offset < kBTNodeDescriptorSize || !within(offset + 2)) return end();
  const std::uint16_t keyLength = be16(node, offset);
  if (keyLength >= kMaxKeyLength || keyLength < kCatalogKeyMinLength) return journal ? end() : next();
  if (!within(offset + 2 + keyLength)) return end();
  if (be32(node, offset + 2) == 0) return end();
  const std::uint16_t nameLength = be16(node, offset + 6);
  if (nameLength > kMaxNameLength) return journal ? end() : next();
  if (nameLength == 0) return next();
  auto key = parseHFSPlusCatalogKey(node.subspan(offset, std::min<std::size_t>(keyLength + 2u, kCatalogKeyMaxSize)));
  if (!key) return next();  // a name longer than its key
  if (!within(offset + keyLength + 4)) return end();
  if (key->name.empty() || key->name == u".DS_Store") return next();
  const std::size_t bodyOffset = offset + 2 + keyLength;
  const auto recordType = static_cast<std::int16_t>(be16(node, bodyOffset));
  if (recordType != kFolderRecordType && recordType != kFileRecordType) return next();
  if (key->parentID == 1) return next();  // the volume root: the tree's root stands for it
  out.key = *key;
  if (recordType == kFolderRecordType) {
    if (!within(bodyOffset + kCatalogFolderSize)) return end();
    auto folder = parseHFSPlusCatalogFolder(node.subspan(bodyOffset));
    if (!folder) return end();
    const HFSPlusCatalogFolder& f = *folder;
    if (f.accessDate == 0 || f.contentModDate == 0 || f.createDate == 0 || f.folderID == 0 ||
        f.recordType != kFolderRecordType)
      return end();
    out.folder = f;
    out.step = FragmentStep::kFolder;
    return out;
  }
  if (!within(bodyOffset + kCatalogFileSize)) return end();
  auto file = parseHFSPlusCatalogFile(node.subspan(bodyOffset));
  if (!file) return end();
  const HFSPlusCatalogFile& f = *file;
  if (journal) {
    if (f.accessDate == 0 || f.contentModDate == 0 || f.createDate == 0) return next();
    if (f.fileID == 0 || f.recordType != kFileRecordType) return end();
  } else if (f.accessDate == 0 || f.contentModDate == 0 || f.createDate == 0 || f.fileID == 0 ||
             f.recordType != kFileRecordType) {
    return end();
  }
  out.file = f;
  out.step = FragmentStep::kFile;
  return out;
}

}  // namespace nua::detail
