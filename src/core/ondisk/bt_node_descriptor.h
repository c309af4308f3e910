// The 14-byte descriptor at the front of every B-tree node of the catalog and extents files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

inline constexpr std::size_t kBTNodeDescriptorSize = 14;
inline constexpr std::int8_t kBTLeafNode = -1;
inline constexpr std::int8_t kBTIndexNode = 0;
inline constexpr std::int8_t kBTHeaderNode = 1;

// Offsets: fLink +0 u32, bLink +4 u32, kind +8 i8, height +9 u8, numRecords +10 u16, reserved +12 u16.
struct BTNodeDescriptor {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::uint32_t fLink = 0;
  std::uint32_t bLink = 0;
  std::int8_t kind = 0;
  std::uint8_t height = 0;
  std::uint16_t numRecords = 0;
  std::uint16_t reserved = 0;
};

// Decodes from the front of `bytes`; fails only when fewer than 14 bytes are given.
[[nodiscard]] Parsed<BTNodeDescriptor> parseBTNodeDescriptor(ByteSpan bytes);

// A valid leaf descriptor is kind 0xFF at height 1, and nothing more is asked of it.
[[nodiscard]] inline bool verifyLeafNodeDesc(const BTNodeDescriptor& descriptor) {
  return descriptor.kind == kBTLeafNode && descriptor.height == 1;
}

// The descriptor of a tree's header node (node 0): no back link, kind 1, height 0, three records.
[[nodiscard]] inline bool isHeaderNodeDescriptor(const BTNodeDescriptor& descriptor) {
  return descriptor.bLink == 0 && descriptor.kind == kBTHeaderNode && descriptor.height == 0 &&
         descriptor.numRecords == 3;
}

// Offset of record `index` from the offset table at the end of a node of `nodeBytes` bytes; nullopt
// when the table slot or the offset itself lies outside the node or inside the descriptor.
[[nodiscard]] std::optional<std::size_t> recordOffset(ByteSpan node, std::size_t index);

}  // namespace nua
