// The key of an extents-overflow record, followed in a leaf by one extent record (76 bytes in all).
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

inline constexpr std::size_t kExtentKeySize = 12;
inline constexpr std::uint8_t kDataFork = 0x00;
inline constexpr std::uint8_t kResourceFork = 0xFF;

// keyLength +0 u16 (10), forkType +2 u8, pad +3, fileID +4 u32, startBlock +8 u32.
struct HFSPlusExtentKey {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::uint16_t keyLength = 0;
  std::uint8_t forkType = 0;
  std::uint32_t fileID = 0;
  std::uint32_t startBlock = 0;
};

// Decodes from the front of `bytes`; fails only when fewer than 12 bytes are given.
[[nodiscard]] Parsed<HFSPlusExtentKey> parseHFSPlusExtentKey(ByteSpan bytes);

}  // namespace nua
