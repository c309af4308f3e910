// The operation lists behind the FAT scenarios, shared with the partition and demo families that put
// the same kinds of volume inside a map.
#pragma once

#include <cstdint>
#include <vector>

#include "imagekit/fat_builder.h"

namespace nua::imagekit {

// The usual geometry for a small volume of each variant: FAT12 2 MiB, FAT16 8 MiB, FAT32 40 MiB.
[[nodiscard]] FatVolumePlan fatBasicGeometry(FatKind kind, std::uint64_t seed);

// Live and deleted files and folders with long names, a folder longer than one cluster, a live file
// made fragmented by filling a freed gap, a deleted fragmented file, a deleted contiguous file and a
// deleted file whose clusters were written over.
[[nodiscard]] std::vector<FatOperation> fatBasicOperations(std::uint64_t seed, std::uint32_t clusterBytes);

}  // namespace nua::imagekit
