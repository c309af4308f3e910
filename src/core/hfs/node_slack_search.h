// Deleted entries from the catalog file itself, for volumes whose journal is gone or never was: the
// slack of every catalog leaf and the catalog nodes that the tree's map marks free, and the same in the
// extents-overflow file for the extents of deleted fragmented files.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <vector>

#include "hfs/detail/fragment_record.h"
#include "hfs/hfs_volume.h"

namespace nua {

// What the live catalog holds beside btree: folders by id, and files by id with their name and data
// size when btreeNormalScan doesn't hold them.
struct LiveCatalogIds {
  struct LiveFile {
    std::u16string name;
    std::uint64_t size = 0;
  };
  std::unordered_set<std::uint32_t> folders;
  std::unordered_map<std::uint32_t, LiveFile> files;
};

// The folders and files of a tree the catalog walk built, bounded like every tree walk.
[[nodiscard]] LiveCatalogIds liveCatalogIdsOfTree(const Entry* root);

// Reads every catalog node (bounded by the catalog file and its header's node count): a leaf in use
// gives the records in its slack, a leaf the map marks free all its records. A record counts as deleted
// under the journal's rules: its id isn't in btree, and no live file (btreeNormalScan, or the given
// live files) has its id, name and size. Deleted entries hang under their folder in btree or wait in btreeOrph, and
// are counted. Needs the catalog header to have been read (catNodeSize); does nothing otherwise.
// Stops at stopTreeThread.
class NodeSlackSearch {
 public:
  NodeSlackSearch(HfsVolume& hfs, const LiveCatalogIds* live) : hfs_(hfs), v_(hfs.volume()), live_(live) {}

  void findDeletedEntries();
  // Run once every other stage has given the files their extents: a file short of its blocks takes
  // them from stale extents-overflow records whose blocks are free, and is complete only when its
  // extents cover its size and every block of them is free.
  void finishFiles();
  [[nodiscard]] std::size_t filesFound() const { return files_.size(); }

 private:
  struct SlackFile {
    Entry* dir = nullptr;
    std::uint32_t totalBlocks = 0;  // what the record promises
  };
  void takeFolder(const detail::FragmentRecord& record);
  void takeFile(const detail::FragmentRecord& record);
  [[nodiscard]] bool copyOfLiveFile(const detail::FragmentRecord& record) const;
  [[nodiscard]] Entry* newEntry(std::uint16_t fileType, const detail::FragmentRecord& record, std::uint32_t id,
                                 std::uint32_t createDate, std::uint32_t modDate);

  HfsVolume& hfs_;
  Volume& v_;
  const LiveCatalogIds* live_;
  std::vector<SlackFile> files_;
};

}  // namespace nua
