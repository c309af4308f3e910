// One record of a catalog fragment, checked against its node with every bound in doubt: a fragment
// comes from anywhere on the disk, so no offset of it is believed until checked.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "ondisk/hfs_catalog_file.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"

namespace nua::detail {

// What to do after a record: leave it (kNext), leave the node (kEnd), or take a folder or a file.
enum class FragmentStep { kNext, kEnd, kFolder, kFile };

// The two readers differ in a few answers: the journal reader ends the node on a bad key or name
// length and passes over a file with a zero access, modification or creation date.
enum class FragmentRules { kWholeVolume, kJournal };

struct FragmentRecord {
  FragmentStep step = FragmentStep::kNext;
  HFSPlusCatalogKey key;
  HFSPlusCatalogFolder folder;
  HFSPlusCatalogFile file;
};

// Record `index` of a node of `numRecords` records whose last sector is `sectorBytes` long.
[[nodiscard]] FragmentRecord readFragmentRecord(ByteSpan node, std::size_t sectorBytes, std::uint16_t numRecords,
                                                std::size_t index, FragmentRules rules);

// A fork whose size fits its blocks: at most totalBlocks blocks, and exactly as many as the size needs.
[[nodiscard]] bool forkFitsItsBlocks(const HFSPlusForkData& fork, std::uint64_t blockBytes);

}  // namespace nua::detail
