// What the catalog walks of the normal and the deleted-file scans share: the order in which they read
// leaf nodes, and the checks of a record's key before either looks at its body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/bytes.h"
#include "hfs/hfs_volume.h"
#include "ondisk/hfs_catalog_key.h"

namespace nua::detail {

// Reads leaf nodes along the sibling chain from the first leaf while the chain is trusted, then from
// the gathered pointer lists; the lists' last resort (every node that looks like a leaf) switches the
// walk to doubting its records. Each node is read once: a link that loops or breaks hands over to the
// lists' nodes not yet read, and the walk never takes more nodes than the catalog file holds.
class CatalogLeafWalk {
 public:
  explicit CatalogLeafWalk(HfsVolume& hfs) : hfs_(hfs), v_(hfs.volume()) {}
  // Calls `readRecords` once for each leaf node read for the first time, with node(), numRecords()
  // and doubting() describing it.
  void run(const std::function<void()>& readRecords);

  [[nodiscard]] ByteSpan node() const { return node_; }
  [[nodiscard]] std::uint16_t numRecords() const { return numRecords_; }
  [[nodiscard]] bool doubting() const { return doubting_; }
  [[nodiscard]] std::uint64_t recordsSeen() const { return recordsSeen_; }

 private:
  [[nodiscard]] std::uint64_t catalogNodeCount() const;

  HfsVolume& hfs_;
  Volume& v_;
  std::vector<std::byte> node_;
  std::uint16_t numRecords_ = 0;
  bool doubting_ = false;
  std::uint64_t recordsSeen_ = 0;
};

// Where one record of a leaf node stands, once its offset, key and name passed the walk's checks.
struct CatalogRecordHead {
  HFSPlusCatalogKey key;
  std::size_t offset = 0;      // of the key
  std::size_t keyLength = 0;
  std::size_t bodyOffset = 0;  // behind the key
  std::int64_t limit = 0;      // the last byte before the node's offset table
  [[nodiscard]] bool within(std::size_t end) const { return static_cast<std::int64_t>(end) <= limit; }
};

// Record `index` of a node with `numRecords` records; nothing for a record the walks leave: offsets
// outside the node, a bad key or name (stricter when doubting), or ".DS_Store", which never enters
// the tree.
[[nodiscard]] std::optional<CatalogRecordHead> readCatalogRecordHead(ByteSpan node, std::size_t index,
                                                                     std::uint16_t numRecords,
                                                                     std::size_t sectorBytes, bool doubting);

// A new record for a catalog folder (`fileType` 1) or file (2) with the fields every catalog reader
// takes from the key and the record; the name is left to the caller, which may still drop the record.
[[nodiscard]] Entry* newCatalogEntry(Volume& v, std::uint16_t fileType, const HFSPlusCatalogKey& key,
                                      std::uint32_t fileID, std::uint32_t createDate, std::uint32_t modDate);

}  // namespace nua::detail
