#include "ondisk/catalog_root_folder.h"

#include "base/text.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"

namespace nua {

namespace {

constexpr std::uint32_t kRootParentID = 1;
constexpr std::uint32_t kRootFolderID = 2;

}  // namespace

Parsed<std::string> parseRootFolderName(ByteSpan node) {
  using Result = Parsed<std::string>;
  const auto descriptor = parseBTNodeDescriptor(node);
  if (!descriptor) return Result::failure(descriptor.reason);
  if (!verifyLeafNodeDesc(*descriptor))
    return Result::failure(parseReason("catalog leaf", "kind", 8, "is not a leaf of height 1"));
  // The first record starts right behind the descriptor.
  const auto key = parseHFSPlusCatalogKey(node.subspan(kBTNodeDescriptorSize));
  if (!key) return Result::failure(key.reason);
  if (key->parentID != kRootParentID) return Result::failure(parseReason("catalog key", "parentID", 16, "is not 1"));
  const std::size_t recordAt = kBTNodeDescriptorSize + key->keyLength + 2;
  if (recordAt > node.size())
    return Result::failure(parseReason("catalog folder", "folderID", recordAt + 8, "past the node"));
  const auto folder = parseHFSPlusCatalogFolder(node.subspan(recordAt));
  if (!folder) return Result::failure(parseReason("catalog folder", "folderID", recordAt + 8, "past the node"));
  if (folder->recordType != kFolderRecordType || folder->folderID != kRootFolderID)
    return Result::failure(parseReason("catalog folder", "folderID", recordAt + 8, "is not the root folder"));
  return Result::success(toUtf8(key->name));
}

}  // namespace nua
