// The journal info block of a journaled HFS+ volume (at the block the volume header's
// journalInfoBlock names): where the journal lies, in bytes from the volume's start. Big-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Layout: flags +0 u32; device_signature +4 (32 bytes); offset +36 u64 (bytes from the volume's
// start); size +44 u64 (bytes); reserved +52 (128 bytes).
inline constexpr std::size_t kJournalInfoBlockSize = 180;

struct JournalInfoBlock {
  std::uint32_t flags = 0;
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

// Decodes from the front of `bytes`; fails only when fewer than 180 bytes are given. Offset and
// size are returned as read: the callers keep the journal inside the volume.
[[nodiscard]] Parsed<JournalInfoBlock> parseJournalInfoBlock(ByteSpan bytes);

}  // namespace nua
