// Reading the crash-recovery pair back: the state at the search's start, the tree, and the records
// the search appended before the process ended. Layout in recovery_pair.h.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/rows.h"
#include "records/entry.h"
#include "records/entry_arena.h"
#include "session/recovery_pair.h"
#include "volume/volume.h"

namespace nua {

struct RecoveryPairData {
  std::shared_ptr<Volume> selectedVolume;  // as stored, with nothing else made
  std::string mainScanStatus;
  // Out of range stands for unset (-1): treeScanMode 2 or more, scanMode and rawSearchMode 6 or
  // more, isPTListOrPTScanListChosen 2 or more.
  std::int32_t treeScanMode = -1;
  std::int32_t scanMode = -1;
  std::int32_t rawSearchMode = -1;
  std::int32_t isPTListOrPTScanListChosen = -1;
  std::vector<PartitionRow> partitionListDictArray;
  std::vector<PartitionRow> partitionScanListDictArray;
  std::vector<std::string> autoRecSigExtArray;    // extensions of the rows that were selected
  std::vector<std::uint64_t> knownFileKeys;        // keys of btreeFirstFileBlock, in file order
  std::vector<std::uint64_t> mp3DoneArray;
  std::vector<std::uint64_t> mpgDoneArray;
  std::uint64_t autoRecBeginSize = 0;  // the Info file's position; 0 when it holds none

  std::shared_ptr<EntryArena> arena;
  Entry* root = nullptr;  // the tree as stored, with the appended records in place
  // The appended records placed in the tree, to be added to the volume's counts.
  std::uint64_t fileCount = 0, folderCount = 0, entryCount = 0, dataSize = 0;
  std::uint64_t appendedDropped = 0;  // appended records whose parent was unknown
  bool appendedCutShort = false;      // the appended part ended in a partial or damaged record
};

struct [[nodiscard]] RecoveryPairReadResult {
  std::optional<RecoveryPairData> data;
  std::string reason;  // why there is nothing to resume, when data is empty
  [[nodiscard]] bool ok() const { return data.has_value(); }
};

// Reads the pair. The state and the tree must decode whole, or there is nothing to resume. The
// appended records are read while whole ones remain: the reading ends at a partial or damaged record
// and keeps what came before; a record whose parent is unknown stays out of the tree. Always ends.
RecoveryPairReadResult openScanInfoAutoRecovery(const RecoveryPairPaths& paths);

// The known-file keys as the table the search consults.
[[nodiscard]] std::unique_ptr<CountedKeyTable> knownFileTable(const std::vector<std::uint64_t>& keys);

}  // namespace nua
