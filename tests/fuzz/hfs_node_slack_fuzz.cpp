// The readers of deleted records left in B-tree nodes: the slack of a node in use by its offset table,
// and all of a freed node, each read for catalog and for extents-overflow records.
#include <cstddef>
#include <cstdint>

#include "hfs/detail/node_slack.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::ByteSpan node(reinterpret_cast<const std::byte*>(data), size);
  // The block size comes from the input too, so fork checks meet odd and zero sizes.
  const std::uint64_t blockBytes = size != 0 ? std::uint64_t{512} << (data[0] % 8) : 0;
  const std::uint16_t numRecords = size >= 12 ? nua::be16(node, 10) : 0;
  const nua::detail::NodeSlack freed = nua::detail::freedNodeSpace(node);
  (void)nua::detail::findStaleCatalogRecords(node, freed, blockBytes);
  (void)nua::detail::findStaleExtentRecords(node, freed);
  if (const auto slack = nua::detail::nodeSlack(node, numRecords)) {
    (void)nua::detail::findStaleCatalogRecords(node, *slack, blockBytes);
    (void)nua::detail::findStaleExtentRecords(node, *slack);
  }
  // A range the caller got wrong is refused, not read.
  (void)nua::detail::findStaleCatalogRecords(node, nua::detail::NodeSlack{size / 2, size + 7}, blockBytes);
  return 0;
}
