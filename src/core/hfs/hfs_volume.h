// The HFS+ operations of a Volume that find and read the volume's structures: the volume header
// (primary, alternate, inside an HFS wrapper), the catalog and extents files, node positions and the
// extents-overflow lookup.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ondisk/bt_header_record.h"
#include "ondisk/master_directory_block.h"
#include "ondisk/volume_information_block.h"
#include "records/extent.h"
#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua {

class HfsVolume {
 public:
  // `progress` hears of the checks of the catalog and extents files, and of every scan run on this.
  HfsVolume(Volume& volume, ProgressSink& progress) : volume_(volume), progress_(progress) {}

  // Finds the volume header; true when HPlusVolStart, vib and blockSize are set. Tries the primary,
  // then the header inside an HFS wrapper, then the alternate at the volume's end.
  [[nodiscard]] bool initializeVIB();
  // Sectors per block for the advanced scan's search when the catalog can't be used: the header's
  // block size when `headerFound` and that size is believable (a power of two from 512 to 65536
  // bytes, no smaller than a sector, whose block count fills the space the volume has), else the
  // usual 4096 bytes. A corrupt block-size field thus falls back instead of misplacing every extent.
  [[nodiscard]] std::int32_t sectorsPerBlockForFragmentSearch(bool headerFound) const;
  // The plain form for a volume that is a device by itself: sets HPlusVolStart (past a wrapper, if
  // any), vib, blockSize and totalBlocks. When the header read there has no HFS+ signature, the one
  // initializeVIB finds (the alternate) is taken instead, if any; else what was read stays.
  void fillVIB();
  // True when the header nodes of both trees are valid and node sizes, roots and catalog extents are
  // set. Catalog extents past the first eight come from the extents-overflow file.
  [[nodiscard]] bool checkCatalogAndExtentsFile();
  // catalogExtAsPerVIB from the header's eight catalog descriptors, ending at the first empty count.
  void getCatalogExtFromVIB();
  // extentsExt from the header, then allocationExt with its overflow.
  void fillAllocationExt();
  void checkAllocationFile();
  // The extents of a fork past those in hand, from the extents-overflow file; empty when nothing is
  // found, nullopt when the lookup can't run (no tree) or was stopped. A damaged tree ends the lookup.
  [[nodiscard]] std::optional<std::vector<Extent>> extentsForID(std::uint32_t fileID, std::uint8_t fork,
                                                                std::uint32_t startBlock, std::uint32_t totalBlocks);
  // Absolute sector of a catalog (extents) node; 0 past the file's extents.
  [[nodiscard]] std::uint64_t catNodeToSector(std::uint64_t node) const;
  [[nodiscard]] std::uint64_t extNodeToSector(std::uint64_t node) const;
  // How many nodes of the extents file extNodeToSector can place, at most as many as fit in the volume.
  [[nodiscard]] std::uint64_t extentsFileNodeCount() const;
  [[nodiscard]] bool sectorIsInCatalogFile(std::uint64_t sector) const;
  [[nodiscard]] bool sectorIsInThisExtArray(const std::vector<Extent>& extents, std::uint64_t sector) const;
  // Reads the journal info block: journalStart and journalSize (bytes).
  void getJournalSizeAndStart();
  // Counts a visit of the sector in btreeForUsedCatNodeSector; always 1.
  int getIfUnusedSectorForCatalogNode(std::uint64_t sector);

  [[nodiscard]] const VolumeInformationBlock& vib() const { return vib_; }
  [[nodiscard]] const MasterDirectoryBlock& mdb() const { return mdb_; }
  [[nodiscard]] Volume& volume() { return volume_; }
  [[nodiscard]] ProgressSink& progress() { return progress_; }
  [[nodiscard]] std::uint64_t blockBytes() const;

 private:
  void readHeaderWithoutVerdict();
  [[nodiscard]] bool readSectorInto(std::uint64_t sector, std::int32_t count, std::vector<std::byte>& buffer);
  // Reads the sector holding the byte position and decodes the header found there as a VIB or an MDB.
  [[nodiscard]] bool readHeaderAt(std::uint64_t bytePosition, bool asVib);
  [[nodiscard]] bool embeddedHeader(std::uint64_t wrapperStart);
  [[nodiscard]] bool headerNodeAt(const std::vector<Extent>& extents, BTHeaderRecord& header);

  Volume& volume_;
  ProgressSink& progress_;
  VolumeInformationBlock vib_;
  MasterDirectoryBlock mdb_;
};

}  // namespace nua
