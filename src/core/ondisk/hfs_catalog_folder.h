// The folder record of the catalog (record type 1).
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

inline constexpr std::size_t kCatalogFolderSize = 88;
inline constexpr std::int16_t kFolderRecordType = 1;
inline constexpr std::int16_t kFileRecordType = 2;

// recordType +0 i16, flags +2 u16, valence +4, folderID +8, createDate +12, contentModDate +16,
// attributeModDate +20, accessDate +24, backupDate +28; BSD, Finder and encoding data follow.
struct HFSPlusCatalogFolder {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::int16_t recordType = 0;
  std::uint16_t flags = 0;
  std::uint32_t valence = 0;
  std::uint32_t folderID = 0;
  std::uint32_t createDate = 0, contentModDate = 0, attributeModDate = 0, accessDate = 0, backupDate = 0;
};

// Decodes from the front of `bytes`; fails only when fewer than 88 bytes are given.
[[nodiscard]] Parsed<HFSPlusCatalogFolder> parseHFSPlusCatalogFolder(ByteSpan bytes);

}  // namespace nua
