#include "ondisk/hfs_catalog_key.h"

namespace nua {

Parsed<HFSPlusCatalogKey> parseHFSPlusCatalogKey(ByteSpan b) {
  using Result = Parsed<HFSPlusCatalogKey>;
  if (b.size() < 8) return Result::failure(parseReason("catalog key", "fixed part", 0, "cut short before 0x8"));
  HFSPlusCatalogKey key;
  key.keyLength = be16(b, 0);
  key.parentID = be32(b, 2);
  key.nameLength = be16(b, 6);
  if (key.nameLength > kMaxNameLength) return Result::failure(parseReason("catalog key", "nameLength", 6, "above 255"));
  const std::size_t nameBytes = 2 * static_cast<std::size_t>(key.nameLength);
  if (!fits(b.size(), 8, nameBytes))
    return Result::failure(parseReason("catalog key", "name", 8, "runs past the bytes given"));
  if (static_cast<std::size_t>(key.keyLength) + 2 < 8 + nameBytes)
    return Result::failure(parseReason("catalog key", "name", 8, "runs past keyLength"));
  key.name.resize(key.nameLength);
  for (std::size_t i = 0; i < key.nameLength; ++i) key.name[i] = static_cast<char16_t>(be16(b, 8 + 2 * i));
  return Result::success(std::move(key));
}

}  // namespace nua
