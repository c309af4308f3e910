// Reading an entry's bytes for a preview: its extents into memory up to a fixed limit, or its first
// block shown as text. Reads go through the source's preview reader, never the save path.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "records/entry.h"

namespace nua {

class MediaReader;

// Largest preview in bytes: for the size test, each read and the total.
inline constexpr std::uint32_t kPreviewSizeLimit = 50000000;

// What a preview reads from: `count` sectors at `sector` into the front of `buffer` (false on a
// failed read), the sector size and the volume's first sector.
struct PreviewSource {
  std::function<bool(std::uint64_t sector, std::int32_t count, std::span<std::byte> buffer)> readPreviewSector;
  std::uint32_t u32BytesInSector = 512;
  std::uint64_t HPlusVolStart = 0;  // NOLINT(readability-identifier-naming): the engine's name
};

// The preview reader of a drive or volume object.
[[nodiscard]] PreviewSource previewSourceOf(MediaReader& media);

// What a preview needs of a record, copied on the main thread so a worker never touches the tree.
struct PreviewEntry {
  std::uint64_t fileSize = 0;
  std::uint32_t blockBaseSector = 0;
  std::uint8_t sectorsPerBlock = 0;
  std::vector<ExtP> dataExt;
};
[[nodiscard]] PreviewEntry previewEntryOf(const Entry& dir);

enum class PreviewGatherOutcome {
  kLoaded,      // data complete, or cut by the soft stop at the limit
  kAborted,     // the abort flag was set (from outside, or by a read size outside 1 to the limit)
  kReadFailed,  // a read failed: nothing is shown further, the reader has alerted where it must
};

struct PreviewGatherResult {
  PreviewGatherOutcome outcome = PreviewGatherOutcome::kLoaded;
  std::vector<std::byte> data;
};

// Reads the extents as the save loop does (chunks of 8 blocks, the last extent's end block by block,
// its last block cut to the tail length) into memory. An entry without extents gives empty data. A
// read or tail size outside 1 to kPreviewSizeLimit sets previewThreadAbort. Past the limit in total
// the chunks of the extent being read are given up but what was read is kept. Sizes from the record
// are untrusted: no byte beyond a read buffer is ever taken.
[[nodiscard]] PreviewGatherResult getPreviewData(const PreviewEntry& entry, const PreviewSource& source,
                                                 std::atomic<bool>& previewThreadAbort);

// The first block of the entry as text: printable ASCII kept, every other byte a ".", cut at the
// entry's size and before the block's last byte. nullopt when the entry has no extents or the read
// fails.
[[nodiscard]] std::optional<std::string> previewTextData(const PreviewEntry& entry, const PreviewSource& source);
// The rendering alone, over a block already read.
[[nodiscard]] std::string previewTextOfBlock(std::span<const std::byte> block, std::uint64_t fileSize);

}  // namespace nua
