// The file record of the catalog (record type 2), with its data and resource forks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"
#include "ondisk/hfs_fork_data.h"

namespace nua {

inline constexpr std::size_t kCatalogFileSize = 248;

// recordType +0 i16, flags +2 u16, reserved +4, fileID +8, createDate +12, contentModDate +16,
// attributeModDate +20, accessDate +24, backupDate +28, BSD and Finder data +32..+79, textEncoding +80,
// dataFork +88 (80 bytes), resourceFork +168 (80 bytes).
struct HFSPlusCatalogFile {  // NOLINT(readability-identifier-naming): the on-disk structure's own name
  std::int16_t recordType = 0;
  std::uint16_t flags = 0;
  std::uint32_t fileID = 0;
  std::uint32_t createDate = 0, contentModDate = 0, attributeModDate = 0, accessDate = 0, backupDate = 0;
  std::uint32_t textEncoding = 0;
  HFSPlusForkData dataFork, resourceFork;
};

// Decodes from the front of `bytes`; fails only when fewer than 248 bytes are given.
[[nodiscard]] Parsed<HFSPlusCatalogFile> parseHFSPlusCatalogFile(ByteSpan bytes);

}  // namespace nua
