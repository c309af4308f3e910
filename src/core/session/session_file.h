// The recovery session file: its fixed texts, what it holds besides the tree, and the progress sink
// its writer and reader report to. Byte layout in docs/session-file.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "archive/keyed_value.h"
#include "base/dict.h"
#include "volume/volume.h"

namespace nua {

inline constexpr const char* kScanInfoFileExtension = "nvs";
// The status blob stands at offset 0; both words have 8 letters, so the final one overwrites the first.
inline constexpr const char* kSessionStatusUnComplete = "UnComple";
inline constexpr const char* kSessionStatusComplete = "Complete";
// The one version test: a file whose identity blob holds another text is refused with that text.
inline constexpr const char* kSessionIdentity = "Nua Recovery Software Recovery Session Version 1.0.1";
// The status and identity blobs live in the zeroed first 1024 bytes; the volume blob starts after them.
inline constexpr std::size_t kSessionHeaderAreaSize = 1024;
// Sectors 0 to 4 of the drive, kept to find it again.
inline constexpr std::int32_t kSessionFirstSectorCount = 5;
// The keyed archives of a session carry this content version.
inline constexpr std::uint32_t kSessionArchiveContentVersion = 1;

// What a session holds besides the tree.
struct SessionContents {
  std::shared_ptr<Volume> volume;  // the scanned (or reopened) volume; only its stored fields matter
  std::int32_t scanMode = -1;
  std::int32_t rawSearchMode = -1;
  std::int32_t isPTListOrPTScanListChosen = -1;
  std::vector<PartitionRow> partitionListDictArray;
  std::vector<PartitionRow> partitionScanListDictArray;
  bool hasFirst5Sectors = false;          // the flag: the 5 sectors follow
  std::vector<std::byte> first5Sectors;   // 5 x u32BytesInSector bytes when the flag is set
};

// How many partition blobs follow the three numbers: with rawSearchMode 4 or 5, one for a partition
// list row (0) and two for a lost-volume row (1); none otherwise.
[[nodiscard]] int partitionBlobCount(std::int32_t rawSearchMode, std::int32_t isPTListOrPTScanListChosen);

// A value as stored in a session: a u32 big-endian byte count, then a keyed archive of the value.
[[nodiscard]] std::vector<std::byte> archivedBlob(const KeyedValue& value);

// Where the writer and reader report: the indicator's range once, then steps as entries go by.
class SessionProgress {
 public:
  virtual ~SessionProgress() = default;
  virtual void setMaxValue(double maxValue) = 0;
  virtual void incrementBy(double step) = 0;
};

}  // namespace nua
