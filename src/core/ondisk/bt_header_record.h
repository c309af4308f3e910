// The header record of a B-tree (record 0 of node 0, right after the node descriptor).
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

inline constexpr std::size_t kBTHeaderRecordSize = 106;

// Offsets: treeDepth +0 u16, rootNode +2 u32, leafRecords +6 u32, firstLeafNode +10 u32, lastLeafNode
// +14 u32, nodeSize +18 u16 (bytes), maxKeyLength +20 u16, totalNodes +22 u32, freeNodes +26 u32.
struct BTHeaderRecord {
  std::uint16_t treeDepth = 0;
  std::uint32_t rootNode = 0;
  std::uint32_t leafRecords = 0;
  std::uint32_t firstLeafNode = 0;
  std::uint32_t lastLeafNode = 0;
  std::uint16_t nodeSize = 0;
  std::uint16_t maxKeyLength = 0;
  std::uint32_t totalNodes = 0;
  std::uint32_t freeNodes = 0;
};

// Decodes from the front of `bytes`; fails only when fewer than 106 bytes are given.
[[nodiscard]] Parsed<BTHeaderRecord> parseBTHeaderRecord(ByteSpan bytes);

}  // namespace nua
