// The fork of an HFS Plus file or special file: logical size, clump, blocks and the first eight
// extents, each decoded from its fixed big-endian layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace nua {

// HFSPlusExtentDescriptor: startBlock (+0, u32), blockCount (+4, u32).
inline constexpr std::size_t kExtentDescriptorSize = 8;
// HFSPlusExtentRecord: eight descriptors.
inline constexpr std::size_t kExtentRecordSize = 64;
// HFSPlusForkData: logicalSize (+0, u64), clumpSize (+8, u32), totalBlocks (+12, u32), extents (+16, 64).
inline constexpr std::size_t kForkDataSize = 80;

struct HFSPlusExtentDescriptor {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;
  friend bool operator==(const HFSPlusExtentDescriptor&, const HFSPlusExtentDescriptor&) = default;
};
using HFSPlusExtentRecord = std::array<HFSPlusExtentDescriptor, 8>;  // NOLINT(readability-identifier-naming)

struct HFSPlusForkData {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::uint64_t logicalSize = 0;
  std::uint32_t clumpSize = 0;
  std::uint32_t totalBlocks = 0;
  HFSPlusExtentRecord extents{};
};

// Callers check that kExtentRecordSize (kForkDataSize) bytes lie at offset; these only read.
[[nodiscard]] inline HFSPlusExtentRecord readExtentRecord(ByteSpan bytes, std::size_t offset) {
  HFSPlusExtentRecord record{};
  for (std::size_t i = 0; i < record.size(); ++i) {
    record[i].startBlock = be32(bytes, offset + i * kExtentDescriptorSize);
    record[i].blockCount = be32(bytes, offset + i * kExtentDescriptorSize + 4);
  }
  return record;
}

[[nodiscard]] inline HFSPlusForkData readForkData(ByteSpan bytes, std::size_t offset) {
  HFSPlusForkData fork;
  fork.logicalSize = be64(bytes, offset);
  fork.clumpSize = be32(bytes, offset + 8);
  fork.totalBlocks = be32(bytes, offset + 12);
  fork.extents = readExtentRecord(bytes, offset + 16);
  return fork;
}

}  // namespace nua
