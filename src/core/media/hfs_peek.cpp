#include "media/hfs_peek.h"

#include "base/text.h"

namespace nua::peek {
namespace {

ForkExtents forkAt(ByteSpan bytes, std::size_t offset) {
  ForkExtents fork;
  fork.totalBlocks = be32(bytes, offset + 12);
  for (std::size_t i = 0; i < fork.extents.size(); ++i) {
    fork.extents[i].startBlock = be32(bytes, offset + 16 + 8 * i);
    fork.extents[i].blockCount = be32(bytes, offset + 20 + 8 * i);
  }
  return fork;
}

}  // namespace

Parsed<VolumeHeader> parseVolumeHeader(ByteSpan bytes) {
  if (bytes.size() < kVolumeHeaderSize)
    return Parsed<VolumeHeader>::failure(parseReason("volume header", "catalogFile", 272, "past the end"));
  VolumeHeader header;
  header.signature = be16(bytes, 0);
  header.attributes = be32(bytes, 4);
  header.blockSize = be32(bytes, 40);
  header.extentsFile = forkAt(bytes, 192);
  header.catalogFile = forkAt(bytes, 272);
  return Parsed<VolumeHeader>::success(header);
}

Parsed<WrapperHeader> parseWrapperHeader(ByteSpan bytes) {
  if (bytes.size() < 130)
    return Parsed<WrapperHeader>::failure(parseReason("master directory block", "xdrNumABlks", 128, "past the end"));
  WrapperHeader mdb;
  mdb.drSigWord = be16(bytes, 0);
  mdb.drAlBlkSiz = be32(bytes, 20);
  mdb.drAlBlSt = be16(bytes, 28);
  const std::size_t length = u8(bytes, 36) < 27 ? u8(bytes, 36) : 27;
  for (std::size_t i = 0; i < length && u8(bytes, 37 + i) != 0; ++i) mdb.drVN.push_back(static_cast<char>(u8(bytes, 37 + i)));
  mdb.drEmbedSigWord = be16(bytes, 124);
  mdb.xdrStABN = be16(bytes, 126);
  mdb.xdrNumABlks = be16(bytes, 128);
  return Parsed<WrapperHeader>::success(mdb);
}

Parsed<NodeDescriptor> parseNodeDescriptor(ByteSpan bytes) {
  if (bytes.size() < kNodeDescriptorSize)
    return Parsed<NodeDescriptor>::failure(parseReason("node descriptor", "numRecords", 10, "past the end"));
  return Parsed<NodeDescriptor>::success(
      {be32(bytes, 0), be32(bytes, 4), static_cast<std::int8_t>(u8(bytes, 8)), u8(bytes, 9), be16(bytes, 10)});
}

bool isHeaderNode(const NodeDescriptor& d) {
  return d.bLink == 0 && d.kind == 1 && d.height == 0 && d.numRecords == 3;
}

Parsed<HeaderRecord> parseHeaderRecord(ByteSpan bytes) {
  if (bytes.size() < 20)
    return Parsed<HeaderRecord>::failure(parseReason("B-tree header record", "nodeSize", 18, "past the end"));
  return Parsed<HeaderRecord>::success({be32(bytes, 2), be32(bytes, 10), be16(bytes, 18)});
}

Parsed<std::string> parseRootFolderName(ByteSpan node) {
  using Result = Parsed<std::string>;
  const auto descriptor = parseNodeDescriptor(node);
  if (!descriptor) return Result::failure(descriptor.reason);
  if (descriptor->kind != -1 || descriptor->height != 1)
    return Result::failure(parseReason("catalog leaf", "kind", 8, "is not a leaf of height 1"));
  if (!fits(node.size(), 14, 8)) return Result::failure(parseReason("catalog key", "nameLength", 20, "past the node"));
  const std::size_t keyLength = be16(node, 14);
  const std::uint32_t parentID = be32(node, 16);
  const std::size_t nameLength = be16(node, 20);
  if (parentID != 1) return Result::failure(parseReason("catalog key", "parentID", 16, "is not 1"));
  if (nameLength > 255 || !fits(node.size(), 22, 2 * nameLength))
    return Result::failure(parseReason("catalog key", "nameLength", 20, "past the node"));
  const std::size_t recordAt = 14 + keyLength + 2;
  if (!fits(node.size(), recordAt, 12))
    return Result::failure(parseReason("catalog folder", "folderID", recordAt + 8, "past the node"));
  if (be16(node, recordAt) != 1 || be32(node, recordAt + 8) != 2)
    return Result::failure(parseReason("catalog folder", "folderID", recordAt + 8, "is not the root folder"));
  std::u16string name;
  for (std::size_t i = 0; i < nameLength; ++i) name.push_back(static_cast<char16_t>(be16(node, 22 + 2 * i)));
  return Result::success(toUtf8(name));
}

}  // namespace nua::peek
