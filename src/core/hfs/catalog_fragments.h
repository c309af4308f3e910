// Catalog fragments: leaf nodes of a catalog found by their shape wherever they lie, on the whole
// volume (advanced scan) or as old copies in the journal (deleted-file scan), and the records read
// from them.
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "hfs/hfs_volume.h"

namespace nua {

// Sectors read per call by the whole-volume search.
inline constexpr std::uint64_t kFragmentBatchSectors = 63;

// The tail of a node's last sector: record 0 at byte 14 (raw 0x00 0x0E), record 1 at 15 or more.
// False for a span under four bytes.
[[nodiscard]] bool sectorEndsLikeLeafNode(ByteSpan sector);
// The first sector of a fragment: height 1, kind 0xFF, 1 to 254 records, reserved 0. False for a
// span shorter than a node descriptor.
[[nodiscard]] bool fragmentDescriptorPasses(ByteSpan firstSector);

// Searches the volume's own sectors, batch by batch, for fragments and hands each to processCatFrags.
// Makes "Lost Folders" first. Without a node size from the catalog header, a fragment is tried as a
// node of 4096 and then of 8192 bytes. Stops at stopTreeThread; unreadable batches count as empty.
void searchCatFrags(HfsVolume& hfs);

// Reads the records of the node whose first sector is `sector` into btreeOrph (the node lies in the
// catalog file) or btreeOrphAdvScanEntries (anywhere else). `nodeSectors` 0 means catNodeSize (16 when
// that is unset). A bad record is skipped or ends the node; the first copy of an id wins.
void processCatFrags(HfsVolume& hfs, std::uint64_t sector, std::int32_t nodeSectors = 0);

// Searches the journal sector by sector for catalog leaf nodes (needs catNodeSize) and hands each to
// processCatFragForDeletedFiles. The range is kept inside the volume, whatever the journal info says.
void searchCatFragsForDeletedFiles(HfsVolume& hfs);

// Reads the records of a journal copy of a catalog leaf node. A folder or file whose id is not yet in
// btree, and a file that no live record (btreeNormalScan: same id, size and name) matches, becomes a
// deleted entry under its parent, or waits in btreeOrph. `timeRemaining` is shown when given.
void processCatFragForDeletedFiles(HfsVolume& hfs, std::uint64_t sector, const std::string* timeRemaining);

// Hangs a deleted entry under its parent when btree knows it, else stores it in btreeOrph for the
// orphan pass (counting it in orphEntriesTotal); a second copy of an id already waiting is freed.
void placeDeletedEntry(Volume& v, Entry* dir);

}  // namespace nua
