// The HFS master directory block, of which only the volume name and the fields that locate an
// embedded HFS Plus volume are kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

inline constexpr std::size_t kMasterDirectoryBlockSize = 162;

// Offsets: drSigWord +0 u16, drAlBlkSiz +20 u32 (bytes per allocation block), drAlBlSt +28 u16 (first
// allocation block, in 512-byte sectors), drVN +36 (u8 length, then up to 27 bytes), drEmbedSigWord
// +124 u16, drEmbedExtent +126: xdrStABN u16, xdrNumABlks u16.
struct MasterDirectoryBlock {
  std::uint16_t drSigWord = 0;
  std::uint32_t drAlBlkSiz = 0;
  std::uint16_t drAlBlSt = 0;
  std::string drVN;  // up to the stated length, a NUL, or 27 bytes
  std::uint16_t drEmbedSigWord = 0;
  std::uint16_t xdrStABN = 0;
  std::uint16_t xdrNumABlks = 0;
};

// Decodes from the front of `bytes`; fails only when fewer than 162 bytes are given.
[[nodiscard]] Parsed<MasterDirectoryBlock> parseMasterDirectoryBlock(ByteSpan bytes);

}  // namespace nua
