// The journal area of an HFS+ volume: the journal info block, an empty journal header, and stale
// B-tree nodes left behind as an old transaction.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "imagekit/hfs_plan.h"

namespace nua::imagekit::hfs {

struct StaleNode {
  std::string tree;  // "catalog" or "extents"
  std::uint32_t node = 0;
  std::vector<std::byte> bytes;
  std::uint64_t homeVolumeByte = 0;  // where the node lives in its B-tree file; 0 when past its end
  bool older = false;                // an earlier version of a node that appears again later
};

using VolumePut = std::function<void(std::uint64_t volumeOffset, std::span<const std::byte> bytes)>;

// Writes the journal info block and the journal, with `stale` as one old transaction right after the
// header, each node sector-aligned. Appends {tree, node, older, volumeByteOffset} per node to `staleJson`.
void writeJournalArea(const VolumePlan& plan, std::uint32_t sectorSize, const std::vector<StaleNode>& stale,
                      const VolumePut& put, nlohmann::json& staleJson);

}  // namespace nua::imagekit::hfs
