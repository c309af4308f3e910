// The key of a catalog record: parent folder id and the entry's UTF-16 name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// keyLength +0 u16 (bytes after this field), parentID +2 u32, nameLength +6 u16 (UTF-16 units),
// name +8 (big-endian units). The largest key is 518 bytes.
inline constexpr std::size_t kCatalogKeyMaxSize = 518;
inline constexpr std::size_t kCatalogKeyMinLength = 6;
inline constexpr std::uint16_t kMaxNameLength = 255;

struct HFSPlusCatalogKey {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::uint16_t keyLength = 0;
  std::uint32_t parentID = 0;
  std::uint16_t nameLength = 0;
  std::u16string name;  // host order
};

// Decodes the key at the front of `bytes`. Fails when the fixed part is cut, when nameLength is above
// 255, or when the name runs past the key or past the bytes given.
[[nodiscard]] Parsed<HFSPlusCatalogKey> parseHFSPlusCatalogKey(ByteSpan bytes);

}  // namespace nua
