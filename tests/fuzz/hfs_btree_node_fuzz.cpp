// One B-tree node of the catalog or extents file: the descriptor, the header record, the record
// offset table and, at every record, the catalog key with a file or folder body, and the extent key.
#include <cstddef>
#include <cstdint>

#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_file.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"
#include "ondisk/hfs_extent_key.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::ByteSpan node(reinterpret_cast<const std::byte*>(data), size);
  const auto descriptor = nua::parseBTNodeDescriptor(node);
  if (!descriptor) return 0;
  if (size > nua::kBTNodeDescriptorSize) (void)nua::parseBTHeaderRecord(node.subspan(nua::kBTNodeDescriptorSize));
  for (std::size_t index = 0; index < descriptor->numRecords; ++index) {
    const auto offset = nua::recordOffset(node, index);
    if (!offset) break;
    const nua::ByteSpan record = node.subspan(*offset);
    (void)nua::parseHFSPlusExtentKey(record);
    const auto key = nua::parseHFSPlusCatalogKey(record);
    if (!key) continue;
    const std::size_t body = *offset + 2 + key->keyLength;
    if (body >= size) continue;
    (void)nua::parseHFSPlusCatalogFile(node.subspan(body));
    (void)nua::parseHFSPlusCatalogFolder(node.subspan(body));
  }
  return 0;
}
