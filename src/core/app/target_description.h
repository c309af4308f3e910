// What a device or image is before any scan, and the partition list of a disk, for the front ends:
// they reach the sector readers only through these.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/dict.h"
#include "media/rows.h"

namespace nua {

// Path, size, sector size, layout and container of a target; "Error" when it cannot be read.
// `sectorSizeOverride` 0 lets the target tell its own sector size.
[[nodiscard]] Dict describeScanTarget(const std::string& path, std::uint32_t sectorSizeOverride = 0);

// "MD5 Check" of an evidence container against its stored digest, and "Computed MD5" when one was made.
[[nodiscard]] Dict verifyScanTargetDigest(const std::string& path);

struct PartitionList {
  std::vector<PartitionRow> rows;  // the rows of "PT list"
  std::string gptHeaderUsed;   // which GPT header they come from; empty without GPT
};

// The HFS+ partitions of `disk`, a drive row; a disk that cannot be read gives no rows.
[[nodiscard]] PartitionList readPartitionList(const Dict& disk);

}  // namespace nua
