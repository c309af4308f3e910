// Records left behind in a B-tree node: when a record is removed its followers move down over it and
// the old bytes stay between the last live record and the offset table; a node that empties is only
// marked free in the tree's map, its bytes untouched. Both are read here by the shape of the records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/bytes.h"
#include "hfs/detail/fragment_record.h"
#include "ondisk/hfs_extent_key.h"
#include "ondisk/hfs_fork_data.h"

namespace nua::detail {

// The first id of a user's file or folder; lower ids belong to the volume's own files.
inline constexpr std::uint32_t kFirstUserCatalogNodeID = 16;

// Bytes [begin, end) of a node that no live record uses.
struct NodeSlack {
  std::size_t begin = 0;
  std::size_t end = 0;
};

// The free space of a node of `numRecords` records: from the offset the table gives for free space up
// to the table itself. Nothing when the table doesn't fit the node or that offset lies outside it.
[[nodiscard]] std::optional<NodeSlack> nodeSlack(ByteSpan node, std::uint16_t numRecords);
// All of a freed node behind its descriptor: its table can no longer be trusted.
[[nodiscard]] NodeSlack freedNodeSpace(ByteSpan node);

// Whole catalog file and folder records lying in `slack`, found at every even offset by the shape of
// key and body (key length 6 + 2 x name length, a user id, non-zero dates, forks that fit their blocks
// of `blockBytes`). Threads, ".DS_Store" and records of the volume root are passed over. Never reads
// outside the slack.
[[nodiscard]] std::vector<FragmentRecord> findStaleCatalogRecords(ByteSpan node, NodeSlack slack,
                                                                  std::uint64_t blockBytes);

struct StaleExtentRecord {
  HFSPlusExtentKey key;
  HFSPlusExtentRecord extents;
};

// Whole extents-overflow records in `slack`: key length 10, a fork type of 0 or 0xFF, a zero pad, a user
// id, and descriptors that start non-empty and hold nothing after the first empty one.
[[nodiscard]] std::vector<StaleExtentRecord> findStaleExtentRecords(ByteSpan node, NodeSlack slack);

}  // namespace nua::detail
