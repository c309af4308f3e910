#include "ondisk/bt_node_descriptor.h"

namespace nua {

Parsed<BTNodeDescriptor> parseBTNodeDescriptor(ByteSpan b) {
  if (b.size() < kBTNodeDescriptorSize)
    return Parsed<BTNodeDescriptor>::failure(parseReason("node descriptor", "record", 0, "cut short before 0xe"));
  BTNodeDescriptor d;
  d.fLink = be32(b, 0);
  d.bLink = be32(b, 4);
  d.kind = static_cast<std::int8_t>(u8(b, 8));
  d.height = u8(b, 9);
  d.numRecords = be16(b, 10);
  d.reserved = be16(b, 12);
  return Parsed<BTNodeDescriptor>::success(d);
}

std::optional<std::size_t> recordOffset(ByteSpan node, std::size_t index) {
  const std::size_t size = node.size();
  // The table grows down from the node's end, two bytes per record.
  if (index >= size / 2) return std::nullopt;
  const std::size_t slot = size - 2 * (index + 1);
  if (slot < kBTNodeDescriptorSize) return std::nullopt;
  const std::size_t offset = be16(node, slot);
  if (offset < kBTNodeDescriptorSize || offset >= slot) return std::nullopt;
  return offset;
}

}  // namespace nua
